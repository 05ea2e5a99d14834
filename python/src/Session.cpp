#include "Session.h"

#include <cerrno>

namespace py = pybind11;

namespace vxtrace::python {

namespace {

const char* levelName(DiagnosticLevel level) {
  switch (level) {
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

ReadPolicy readPolicy(const Policy& p) {
  ReadPolicy r;
  r.invalidRecords = p.invalid;
  r.decodeDiagnostics = p.diag;
  r.expandContainers = p.expand;
  r.keepRawData = p.keepRaw;
  return r;
}

}  // namespace

void Session::setUp() {
  MessageBase::registerMessages();
}

Session::Session(std::unique_ptr<Input> input, Policy policy)
    : input_(std::move(input)),
      reader_(Source::descriptor(input_->fd(), input_->name()), readPolicy(policy)) {
  reader_.setLossHandler([this](const Reader::Loss& loss) { problems_.add(lossProblem(loss)); });
  reader_.setDiagnosticHandler(
      [this](uint64_t offset, DiagnosticLevel level, const std::string& line) {
        problems_.add(lineProblem(offset, level, line));
      });
}

Session::~Session() = default;

std::unique_ptr<MessageBase> Session::next() { return reader_.next(); }

std::vector<uint8_t> Session::frameOf(const MessageBase& record) {
  if (!record.rawBytes.empty()) {
    std::size_t prefix = 0;
    switch (reader_.framing()) {
      case Framing::V1: prefix = 2; break;
      case Framing::V2: prefix = 4; break;
      case Framing::V2NoMarker: prefix = 3; break;
      case Framing::V1NoMarker: break;
    }
    if (record.rawBytes.size() > prefix)
      return std::vector<uint8_t>(record.rawBytes.begin() + prefix, record.rawBytes.end());
  }
  std::vector<uint8_t> bytes;
  record.createByteArray(bytes, false, false);
  return bytes;
}

std::vector<Problem> Session::takeProblems(uint64_t& dropped) {
  dropped = problems_.dropped;
  problems_.dropped = 0;
  std::vector<Problem> out;
  out.swap(problems_.kept);
  return out;
}

void Session::raiseIfFailed(PyObject* formatError) {
  const std::string fed = input_->feedError();
  if (!fed.empty()) throw py::value_error("vxtrace: reading " + input_->name() + ": " + fed);
  raiseIfNoTrace(formatError, input_->name(), reader_.error(), reader_.notATrace(),
                 reader_.counts());
}

Problem lossProblem(const Reader::Loss& loss) {
  static const char* const kinds[] = {"skipped", "undecodable", "truncated"};
  static const char* const texts[] = {"invalid data skipped", "undecodable frame",
                                      "truncated frame at end of input"};
  return {kinds[loss.kind], loss.offset, loss.length,
          std::string(texts[loss.kind]) + " at offset " + std::to_string(loss.offset) + " (" +
              std::to_string(loss.length) + " bytes): " +
              hexHead(loss.head, loss.headLength, loss.length)};
}

Problem lineProblem(uint64_t offset, DiagnosticLevel level, const std::string& line) {
  return {levelName(level), offset, 0, line};
}

void ProblemList::append(ProblemList&& other) {
  for (Problem& p : other.kept) add(std::move(p));
  dropped += other.dropped;
}

void raiseIfNoTrace(PyObject* formatError, const std::string& name, int error, std::string why,
                    const Reader::Counts& c) {
  if (error != 0) {
    errno = error;
    PyErr_SetFromErrnoWithFilename(PyExc_OSError, name.c_str());
    throw py::error_already_set();
  }
  if (why.empty() && c.records == c.undecodable && c.bytesRead > 0)
    why = "not a trace: no record found in its " + std::to_string(c.bytesRead) + " bytes";
  if (!why.empty()) {
    PyErr_SetString(formatError, (name + ": " + why).c_str());
    throw py::error_already_set();
  }
}

}  // namespace vxtrace::python
