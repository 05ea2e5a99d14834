#pragma once
// One pass over a trace for the Python package: the library's Reader with this reader's own
// policy, and every loss and diagnostic line kept as a problem with the offset of the record it
// belongs to, for Python to warn about or hand to a callback.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Input.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/io/Reader.h"

namespace vxtrace::python {

struct Problem {
  // "skipped", "undecodable", "truncated" (losses) or "error", "warning", "debug", "info"
  // (the library's diagnostic lines)
  const char* kind;
  uint64_t offset;  // stream offset of the lost bytes or of the record the line belongs to
  uint64_t length;  // lost bytes; 0 for diagnostic lines
  std::string text;
};

// A loss as the reader reports it, and a diagnostic line of the record at offset.
Problem lossProblem(const Reader::Loss& loss);
Problem lineProblem(uint64_t offset, DiagnosticLevel level, const std::string& line);

// Problems in arrival order, at most kMaxProblems kept; the rest only counted.
struct ProblemList {
  static constexpr std::size_t kMaxProblems = 1000;
  std::vector<Problem> kept;
  uint64_t dropped = 0;

  void add(Problem p) {
    if (kept.size() < kMaxProblems)
      kept.push_back(std::move(p));
    else
      ++dropped;
  }
  // Appends other's problems after this list's own.
  void append(ProblemList&& other);
};

// Raises OSError for a read error (errno value error) and vxtrace.FormatError for input that is
// not a trace: why is given, or no record was found in bytes that were there. Needs the GIL.
void raiseIfNoTrace(PyObject* formatError, const std::string& name, int error, std::string why,
                    const Reader::Counts& counts);

struct Policy {
  bool invalid = false;  // undecodable frames come back as InvalidMessage records
  bool expand = true;    // container records are followed by the records inside them
  bool keepRaw = false;  // top-level records keep their stored bytes
  bool diag = false;     // KWP2000 and UDS records are decoded
};

class Session {
 public:
  // Process-wide setup of the record registry; call once, with the GIL held.
  static void setUp();

  Session(std::unique_ptr<Input> input, Policy policy);
  ~Session();

  // The next record, depth first through containers; null at the end of the input, on a read
  // error or for input that is not a trace. Call without the GIL when input().fed().
  std::unique_ptr<MessageBase> next();
  // Whether the record next() gave last was read from the input (not from inside a container).
  bool lastWasTop() const { return reader_.depth() == 0; }
  // Offset of the top-level record the last one returned came from.
  uint64_t offset() const { return reader_.recordOffset(); }
  // The stored frame of a top-level record from its size field (marker or prefix cut off), or
  // its encoding when it kept no bytes.
  std::vector<uint8_t> frameOf(const MessageBase& record);

  // Problems since the last call, oldest first; at most ProblemList::kMaxProblems are kept
  // between calls, the rest counted in dropped.
  std::vector<Problem> takeProblems(uint64_t& dropped);

  const Reader::Counts& counts() const { return reader_.counts(); }
  // Raises OSError for a read error or a failed feed, and vxtrace.FormatError for input that
  // is not a trace. Needs the GIL; after the end.
  void raiseIfFailed(PyObject* formatError);
  Input& input() { return *input_; }

 private:
  std::unique_ptr<Input> input_;
  Reader reader_;
  ProblemList problems_;
};

}  // namespace vxtrace::python
