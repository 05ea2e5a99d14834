#pragma once
// One pass over a trace for the Python package: the validating reader with a policy of its
// own, containers expanded on request, and every loss and library diagnostic kept as a problem
// with the offset of the record it belongs to, for Python to warn about or hand to a callback.
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "Input.h"
#include "vxtrace/ContainerMessage.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/TraceFileReader.h"
#include "vxtrace/io/Diagnostics.h"

namespace vxtrace::python {

struct Problem {
  // "skipped", "undecodable", "truncated" (losses) or "error", "warning", "debug", "info"
  // (the library's diagnostic lines)
  const char* kind;
  uint64_t offset;  // stream offset of the lost bytes or of the record the line belongs to
  uint64_t length;  // lost bytes; 0 for diagnostic lines
  std::string text;
};

struct Policy {
  bool invalid = false;  // undecodable frames come back as InvalidMessage records
  bool expand = true;    // container records are followed by the records inside them
  bool keepRaw = false;  // top-level records keep their stored bytes
};

class Session {
 public:
  // Process-wide setup of the record registry; call once, with the GIL held.
  static void setUp();

  Session(std::unique_ptr<Input> input, Policy policy);
  ~Session();

  // The next record, depth first through containers; null at the end of the input or on a
  // read error. Inner records share ownership with their container. Call without the GIL when
  // input().fed().
  std::shared_ptr<const MessageBase> next();
  // Whether the record next() gave last is a top-level one (not inside a container).
  bool lastWasTop() const { return lastWasTop_; }

  // Reads one top-level record and calls visit(record) for it and, with expand, for every
  // record inside it, depth first; false at the end of the input or on a read error. Call
  // without the GIL when input().fed().
  template <typename Visit>
  bool visit(Visit&& visit);

  // While alive, the library's lines on this thread go to the session for many records at
  // once: a sink per record costs more than decoding a CAN frame.
  class Batch {
   public:
    explicit Batch(Session& session);
    ~Batch();
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

   private:
    friend class Session;
    Session& session_;
    vxtrace::DiagnosticSink sink_;
  };

  // Offset of the top-level record the last one returned came from.
  uint64_t offset() const { return offset_; }
  // The stored frame of a top-level record from its size field (marker or prefix cut off), or
  // its encoding when it kept no bytes.
  std::vector<uint8_t> frameOf(const MessageBase& record) const;

  // Problems since the last call, oldest first; at most kMaxProblems are kept between calls,
  // the rest counted in dropped.
  std::vector<Problem> takeProblems(uint64_t& dropped);
  static constexpr std::size_t kMaxProblems = 1000;

  const TraceFileReader::counts_t& counts() const { return reader_.counts(); }
  // Raises OSError for a read error or a failed feed, and vxtrace.FormatError for input in
  // which no record was found. Needs the GIL; after the end.
  void raiseIfFailed(PyObject* formatError) const;
  Input& input() { return *input_; }

 private:
  // The next top-level record with the library's lines of its decoding captured; null at the end.
  std::unique_ptr<MessageBase> readTop();
  // Decodes a container's records, its lines captured; false when expansion is off or the
  // record is no container.
  bool expand(const MessageBase& record);
  void addProblem(Problem p);
  void addLines(const std::vector<std::pair<int, std::string>>& lines);
  template <typename Visit>
  void visitInner(const MessageBase& record, Visit& visit);

  std::unique_ptr<Input> input_;
  Policy policy_;
  TraceFileReader reader_;
  bool started_ = false;
  bool ended_ = false;
  uint64_t offset_ = 0;
  std::deque<std::pair<std::shared_ptr<const MessageBase>, bool>> pending_;  // record, top-level
  bool lastWasTop_ = false;
  std::vector<Problem> problems_;
  uint64_t dropped_ = 0;
  bool lost_ = false;
  Batch* batch_ = nullptr;
  std::vector<std::pair<int, std::string>> lines_;  // captured by the batch since the last step  // a loss in this step: the library's lines then belong to rejected bytes
};

template <typename Visit>
void Session::visitInner(const MessageBase& record, Visit& visit) {
  if (!expand(record)) return;
  for (const auto& inner : static_cast<const ContainerMessage&>(record).messages) {
    if (inner->msgId == MSGID_INVALID && !policy_.invalid) continue;
    visit(*inner);
    visitInner(*inner, visit);
  }
}

template <typename Visit>
bool Session::visit(Visit&& visit) {
  std::unique_ptr<MessageBase> top = readTop();
  if (!top) return false;
  visit(*top);
  visitInner(*top, visit);
  return true;
}

}  // namespace vxtrace::python
