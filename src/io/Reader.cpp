#include "vxtrace/io/Reader.h"

#include <cstring>
#include <deque>
#include <initializer_list>
#include <optional>

#include "core/DecodePolicy.h"
#include "stream/TraceFileReaderInternals.h"
#include "vxtrace/ContainerMessage.h"

namespace vxtrace {

using detail::TraceFileReaderAccess;

const char* framingName(Framing framing) {
  switch (framing) {
    case Framing::V1:
      return "V1 framing (55 AA markers)";
    case Framing::V1NoMarker:
      return "V1 framing without markers";
    case Framing::V2:
      return "V2 framing ('Z' markers)";
    case Framing::V2NoMarker:
      return "V2 framing without markers";
  }
  return "unknown framing";
}

namespace {

// What the front of an input that holds no plausible record looks like, when it is something
// well known; null otherwise.
const char* lookalike(const uint8_t* p, std::size_t n) {
  auto starts = [&](std::initializer_list<uint8_t> magic) {
    return n >= magic.size() && std::memcmp(p, magic.begin(), magic.size()) == 0;
  };
  if (n == 0) return nullptr;
  if (starts({0x0A, 0x0D, 0x0D, 0x0A})) return "pcapng";
  if (starts({0xD4, 0xC3, 0xB2, 0xA1}) || starts({0xA1, 0xB2, 0xC3, 0xD4}) ||
      starts({0x4D, 0x3C, 0xB2, 0xA1}) || starts({0xA1, 0xB2, 0x3C, 0x4D}))
    return "pcap";
  if (starts({0x1F, 0x8B})) return "gzip";
  if (starts({'P', 'K', 3, 4})) return "zip";
  if (starts({0x7F, 'E', 'L', 'F'})) return "an ELF file";
  const std::size_t window = std::min<std::size_t>(n, 4096);
  bool zeros = true, text = true;
  for (std::size_t i = 0; i < window; ++i) {
    const uint8_t c = p[i];
    zeros = zeros && c == 0;
    // UTF-8 passes as text; a trace's size fields put zero bytes everywhere.
    text = text && (c >= 0x20 || c == '\t' || c == '\n' || c == '\r') && c != 0x7F;
  }
  if (zeros) return "zeros";
  if (text) return "text";
  return nullptr;
}

}  // namespace

struct Reader::Impl {
  Impl(Source s, ReadPolicy p) : source(std::move(s)), policy(std::move(p)) {
    decode.invalidRecords = policy.invalidRecords;
    decode.diagnostics = policy.decodeDiagnostics;
    const auto framing =
        static_cast<TraceFileReader::framing_t>(policy.framing.value_or(Framing::V1));
    reader = TraceFileReaderAccess::make(
        source.kind() == Source::Kind::Memory
            ? detail::memoryInput(source.data(), static_cast<std::size_t>(*source.size()))
            : detail::descriptorInput(source.fd()),
        framing);
    reader->keepRawData = policy.keepRawData;
  }

  void probe() {
    if (probed) return;
    probed = true;
    detail::DecodePolicyScope scope(decode);
    bool found = false;
    const TraceFileReader::framing_t f = TraceFileReaderAccess::probePlausible(*reader, &found);
    if (found) detected = static_cast<Framing>(f);
    if (policy.framing) {
      choice = FramingChoice::Given;
      return;
    }
    reader->setFraming(f);
    if (found) {
      choice = FramingChoice::Detected;
      return;
    }
    choice = FramingChoice::Assumed;
    const auto [front, length] = TraceFileReaderAccess::front(*reader);
    if (const char* like = lookalike(front, length))
      notATrace = std::string("not a trace file (looks like ") + like + ")";
  }

  // Queues the records inside a container, to be handed out next, in order.
  void expand(const MessageBase& msg) {
    auto* container = dynamic_cast<const ContainerMessage*>(&msg);
    if (container == nullptr) return;
    detail::DecodePolicyScope scope(decode);
    std::optional<detail::DiagnosticScope> lines;
    if (onDiagnostic) lines.emplace(expandLines);
    container->messages.clear();
    container->decompress(container->numOfMsg, container->data.data(),
                          static_cast<unsigned int>(container->data.size()));
    for (auto it = container->messages.rbegin(); it != container->messages.rend(); ++it)
      pending.push_front(Pending{std::move(*it), depth + 1});
    container->messages.clear();
  }

  struct Pending {
    std::unique_ptr<MessageBase> msg;
    unsigned depth;
  };

  Source source;
  ReadPolicy policy;
  detail::DecodePolicy decode;
  std::unique_ptr<TraceFileReader> reader;
  bool probed = false;
  FramingChoice choice = FramingChoice::Given;
  std::optional<Framing> detected;
  std::string notATrace;
  DiagnosticHandler onDiagnostic;
  detail::LineCollector expandLines{[this](DiagnosticLevel level, const std::string& line) {
    onDiagnostic(offset, level, line);
  }};
  std::deque<Pending> pending;
  uint64_t offset = 0;
  unsigned depth = 0;
};

Reader::Reader(Source source, ReadPolicy policy)
    : impl_(std::make_unique<Impl>(std::move(source), std::move(policy))) {}

Reader::~Reader() = default;
Reader::Reader(Reader&& other) noexcept = default;
Reader& Reader::operator=(Reader&& other) noexcept = default;

void Reader::setLossHandler(LossHandler handler) {
  impl_->reader->setLossHandler(std::move(handler));
}

void Reader::setDiagnosticHandler(DiagnosticHandler handler) {
  impl_->onDiagnostic = handler;
  TraceFileReaderAccess::setDiagnosticHandler(*impl_->reader, std::move(handler));
}

void Reader::setWaitHandler(WaitHandler handler) {
  impl_->reader->setWaitHandler(std::move(handler));
}

std::unique_ptr<MessageBase> Reader::next() {
  Impl& d = *impl_;
  d.probe();
  if (!d.notATrace.empty()) return nullptr;
  std::unique_ptr<MessageBase> msg;
  if (!d.pending.empty()) {
    msg = std::move(d.pending.front().msg);
    d.depth = d.pending.front().depth;
    d.pending.pop_front();
  } else {
    detail::DecodePolicyScope scope(d.decode);
    msg.reset(d.reader->next());
    if (msg == nullptr) return nullptr;
    d.offset = d.reader->recordOffset();
    d.depth = 0;
  }
  if (d.policy.expandContainers && msg->msgId == MSGID_CONTAINER && d.depth < kMaxDepth)
    d.expand(*msg);
  return msg;
}

uint64_t Reader::recordOffset() const { return impl_->offset; }
unsigned Reader::depth() const { return impl_->depth; }
const Reader::Counts& Reader::counts() const { return impl_->reader->counts(); }
int Reader::error() const { return impl_->reader->error(); }

Framing Reader::framing() {
  impl_->probe();
  return static_cast<Framing>(impl_->reader->framing());
}

FramingChoice Reader::framingChoice() {
  impl_->probe();
  return impl_->choice;
}

std::optional<Framing> Reader::detectedFraming() {
  impl_->probe();
  return impl_->detected;
}

const std::string& Reader::notATrace() {
  impl_->probe();
  return impl_->notATrace;
}

const ReadPolicy& Reader::policy() const { return impl_->policy; }
const Source& Reader::source() const { return impl_->source; }

}  // namespace vxtrace
