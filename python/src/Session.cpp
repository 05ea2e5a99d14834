#include "Session.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <set>

#include "vxtrace/io/Diagnostics.h"

namespace py = pybind11;

namespace vxtrace::python {

namespace {

using Lines = std::vector<std::pair<int, std::string>>;

const char* levelName(int level) {
  switch (static_cast<DiagnosticLevel>(level)) {
    case DiagnosticLevel::Error: return "error";
    case DiagnosticLevel::Warning: return "warning";
    case DiagnosticLevel::Debug: return "debug";
    case DiagnosticLevel::Info: return "info";
  }
  return "error";
}

std::string hexHead(const uint8_t* p, std::size_t n, uint64_t total) {
  static const char digits[] = "0123456789abcdef";
  std::string s;
  for (std::size_t i = 0; i < n && i < 64; ++i) {
    if (i) s.push_back(' ');
    s.push_back(digits[p[i] >> 4]);
    s.push_back(digits[p[i] & 15]);
  }
  if (n < total || n > 64) s += " ...";
  return s;
}

}  // namespace

Session::Batch::Batch(Session& session)
    : session_(session), sink_([this](DiagnosticLevel level, const std::string& line) {
        session_.lines_.emplace_back(static_cast<int>(level), line);
      }) {
  session_.batch_ = this;
}

Session::Batch::~Batch() {
  sink_.flush();
  session_.batch_ = nullptr;
  session_.lines_.clear();
}

void Session::setUp() {
  MessageBase::registerMessages();
  // Every reader of this package takes undecodable frames as InvalidMessage records and drops
  // them itself when its policy says so: the setting is process-wide, a policy is not.
  MessageBase::invalidHandling = 1;
}

Session::Session(std::unique_ptr<Input> input, Policy policy)
    : input_(std::move(input)), policy_(policy), reader_(input_->fd()) {
  reader_.keepRawData = policy_.keepRaw;
  reader_.setLossHandler([this](const TraceFileReader::loss_t& loss) {
    lost_ = true;
    static const char* const kinds[] = {"skipped", "undecodable", "truncated"};
    static const char* const texts[] = {"invalid data skipped", "undecodable frame",
                                        "truncated frame at end of input"};
    addProblem({kinds[loss.kind], loss.offset, loss.length,
                std::string(texts[loss.kind]) + " at offset " + std::to_string(loss.offset) +
                    " (" + std::to_string(loss.length) + " bytes): " +
                    hexHead(loss.head, loss.headLength, loss.length)});
  });
}

Session::~Session() = default;

void Session::addProblem(Problem p) {
  if (problems_.size() >= kMaxProblems) {
    ++dropped_;
    return;
  }
  problems_.push_back(std::move(p));
}

// One problem per record: the lines joined, repeats (a frame may be decoded more than once
// while it is validated) and hex dump lines of the frame beyond a few dropped.
void Session::addLines(const Lines& lines) {
  if (lines.empty() || lost_) return;
  std::set<std::string> seen;
  std::string text;
  std::size_t dumpLines = 0;
  for (const auto& [level, line] : lines) {
    if (line.empty() || !seen.insert(line).second) continue;
    const bool dump = line.size() > 6 && line[4] == ':' && line[5] == ' ';
    if (dump && ++dumpLines > 4) continue;
    text += (text.empty() ? "" : dump ? " | " : "; ") + line;
  }
  if (!text.empty()) addProblem({levelName(lines.front().first), offset_, 0, text});
}

std::unique_ptr<MessageBase> Session::readTop() {
  std::optional<Batch> own;
  if (batch_ == nullptr) own.emplace(*this);
  for (;;) {
    if (!started_) {
      started_ = true;
      reader_.setFraming(reader_.probeFraming());
      batch_->sink_.flush();
      lines_.clear();  // the probe's trial decodes concern nobody
    }
    lost_ = false;
    std::unique_ptr<MessageBase> msg{ended_ ? nullptr : reader_.next()};
    batch_->sink_.flush();
    if (!msg) {
      ended_ = true;
      return nullptr;
    }
    offset_ = reader_.recordOffset();
    addLines(lines_);
    lines_.clear();
    if (msg->msgId == MSGID_INVALID && !policy_.invalid) continue;  // reported as a loss
    return msg;
  }
}

bool Session::expand(const MessageBase& record) {
  if (!policy_.expand || record.msgId != MSGID_CONTAINER) return false;
  const auto* container = dynamic_cast<const ContainerMessage*>(&record);
  if (container == nullptr) return false;
  std::optional<Batch> own;
  if (batch_ == nullptr) own.emplace(*this);
  lost_ = false;
  container->messages.clear();
  container->decompress(container->numOfMsg, container->data.data(),
                        static_cast<unsigned int>(container->data.size()));
  batch_->sink_.flush();
  addLines(lines_);
  lines_.clear();
  return true;
}

std::shared_ptr<const MessageBase> Session::next() {
  while (pending_.empty()) {
    std::shared_ptr<MessageBase> top{readTop()};
    if (!top) return nullptr;
    pending_.emplace_back(top, true);
    // Inner records live as long as their container does.
    auto keep = [&](const MessageBase& inner) {
      pending_.emplace_back(std::shared_ptr<const MessageBase>(top, &inner), false);
    };
    visitInner(*top, keep);
  }
  std::shared_ptr<const MessageBase> msg = std::move(pending_.front().first);
  lastWasTop_ = pending_.front().second;
  pending_.pop_front();
  return msg;
}

std::vector<uint8_t> Session::frameOf(const MessageBase& record) const {
  if (!record.rawBytes.empty()) {
    std::size_t prefix = 0;
    switch (reader_.framing()) {
      case TraceFileReader::FRAMING_V1: prefix = 2; break;
      case TraceFileReader::FRAMING_V2: prefix = 4; break;
      case TraceFileReader::FRAMING_V2_NOSYNC: prefix = 3; break;
      case TraceFileReader::FRAMING_V1_NOSYNC: break;
    }
    if (record.rawBytes.size() > prefix)
      return std::vector<uint8_t>(record.rawBytes.begin() + prefix, record.rawBytes.end());
  }
  std::vector<uint8_t> bytes;
  record.createByteArray(bytes, false, false);
  return bytes;
}

std::vector<Problem> Session::takeProblems(uint64_t& dropped) {
  dropped = dropped_;
  dropped_ = 0;
  std::vector<Problem> out;
  out.swap(problems_);
  return out;
}

void Session::raiseIfFailed(PyObject* formatError) const {
  const std::string fed = input_->feedError();
  if (!fed.empty()) throw py::value_error("vxtrace: reading " + input_->name() + ": " + fed);
  if (const int err = reader_.error()) {
    errno = err;
    PyErr_SetFromErrnoWithFilename(PyExc_OSError, input_->name().c_str());
    throw py::error_already_set();
  }
  const auto& c = reader_.counts();
  if (c.records == c.undecodable && c.bytesRead > 0) {
    PyErr_SetString(formatError,
                    (input_->name() + ": not a trace: no record found in its " +
                     std::to_string(c.bytesRead) + " bytes")
                        .c_str());
    throw py::error_already_set();
  }
}

}  // namespace vxtrace::python
