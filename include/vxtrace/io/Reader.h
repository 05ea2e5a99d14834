#pragma once
// Reads the records of a trace from a Source with a decode policy of its own: whether
// undecodable frames come back as InvalidMessage, whether KWP2000/UDS records are decoded,
// whether containers are expanded. The policy holds for this reader only: reading never
// changes MessageBase::invalidHandling or the registry, so readers with different policies
// may run in different threads at once. Validation, resynchronisation and loss accounting are
// those of TraceFileReader.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/TraceFileReader.h"
#include "vxtrace/io/Diagnostics.h"
#include "vxtrace/io/Source.h"

namespace vxtrace {

// The same values as TraceFileReader::framing_t.
enum class Framing {
  V1 = 0,          // 55 AA, then the frame from its size field
  V1NoMarker = 1,  // the frame alone
  V2 = 2,          // 'Z', a type byte, a 16-bit length, then the frame
  V2NoMarker = 3,  // type byte, length, frame
};

// "V1 framing (55 AA markers)", "V1 framing without markers", "V2 framing ('Z' markers)",
// "V2 framing without markers". Static text.
VXTRACE_API const char* framingName(Framing framing);

// How a reader came to its framing.
enum class FramingChoice {
  Given,     // ReadPolicy::framing
  Detected,  // a chain of records with plausible time stamps decodes under it
  Assumed,   // nothing plausible decodes near the front; guessed from the first bytes
};

struct ReadPolicy {
  // Undecodable frames come back as InvalidMessage records (besides being counted and
  // reported to the loss handler); otherwise they are only counted and reported.
  bool invalidRecords = false;
  // KWP2000 and UDS records (identifiers 26 to 29) are decoded; otherwise they are unknown
  // identifiers, whatever the registry holds for them.
  bool decodeDiagnostics = false;
  // A container record is followed by the records inside it, depth first (see depth()).
  bool expandContainers = false;
  // Records read from the input get their frame bytes, marker and V2 prefix included, in
  // rawBytes (records from inside a container do not).
  bool keepRawData = false;
  // nullopt: detected from the first bytes.
  std::optional<Framing> framing;
};

// Records are decoded by the registry's creator where it has one for the identifier and by the
// library's own otherwise, so a reader works without MessageBase::registerMessages() and an
// application's own creators still come first. Not copyable; one reader belongs to one thread
// at a time.
class VXTRACE_API Reader {
 public:
  using Loss = TraceFileReader::loss_t;
  using Counts = TraceFileReader::counts_t;
  using LossHandler = std::function<void(const Loss& loss)>;
  // offset: recordOffset() of the record whose decode wrote the line (for a frame that did not
  // decode, the offset of that frame). line: as the library writes it, without the newline.
  using DiagnosticHandler =
      std::function<void(uint64_t offset, DiagnosticLevel level, const std::string& line)>;
  using WaitHandler = std::function<void()>;

  explicit Reader(Source source, ReadPolicy policy = ReadPolicy());
  ~Reader();
  Reader(Reader&& other) noexcept;
  Reader& operator=(Reader&& other) noexcept;
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // Set these before the first next() or framing().
  // Every loss (garbage run, undecodable frame, cut-off tail) as it is found.
  void setLossHandler(LossHandler handler);
  // Every diagnostic line of the library written while a record is decoded or a container
  // expanded. Without a handler the lines go where the calling thread's lines go (see
  // DiagnosticSink). Lines of trial decodes during validation and framing detection are never
  // delivered.
  void setDiagnosticHandler(DiagnosticHandler handler);
  // Called just before the reader waits for input that has not arrived yet (pipes, live
  // streams), so that the application can flush what it wrote so far.
  void setWaitHandler(WaitHandler handler);

  // The next record, owned by the caller; null at the end of the input, on a read error (see
  // error()) and for an input that is not a trace (see notATrace()).
  std::unique_ptr<MessageBase> next();

  // Stream offset of the last record handed out (its marker or V2 prefix); for a record from
  // inside a container, the offset of the outermost container.
  uint64_t recordOffset() const;
  // 0 for a record read from the input, 1 for one inside a container, 2 inside a container
  // inside a container, and so on. Containers nested deeper than kMaxDepth are handed out but
  // not expanded.
  unsigned depth() const;
  static constexpr unsigned kMaxDepth = 8;

  // What was read and lost so far; records counts records read from the input, not those
  // from inside containers.
  const Counts& counts() const;
  // The errno value of a read error, 0 if none.
  int error() const;

  // These read the first bytes of the input on their first call if next() has not yet.
  Framing framing();
  FramingChoice framingChoice();
  // The framing detection finds (a chain of records with plausible time stamps near the
  // front), whether or not the policy gives one; nullopt when it finds none.
  std::optional<Framing> detectedFraming();
  // Empty for a trace; otherwise why the input is not read as one, e.g. "not a trace file
  // (looks like pcapng)". Only given when the framing is detected, never for a framing given
  // by the policy.
  const std::string& notATrace();

  const ReadPolicy& policy() const;
  const Source& source() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vxtrace
