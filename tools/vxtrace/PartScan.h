#pragma once
// Reads an input in parts on worker threads (one thread or a pipe: through a TraceReader) with
// the reports and counts a TraceReader gives. Each part's records go to the caller's work in the
// part's thread; what the work made comes back to the calling thread in file order, after that
// part's reports, so the output cannot depend on the number of threads.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TraceReader.h"
#include "vxtrace/MessageBase.h"

namespace vxtrace::cli {

class Input;

// What a worker made of one part; the caller's work derives its own result from it.
struct PartResult {
  virtual ~PartResult() = default;
  // Standard-error lines and losses of the part, each at the offset of the record it belongs to.
  struct Event {
    uint64_t offset;
    std::string line;  // empty: no report (--quiet)
    int loss = -1;     // Reader::Loss::kind, or -1 for a note
    uint64_t length = 0;
  };
  std::vector<Event> events;
};

class PartScan {
 public:
  using Make = std::function<std::unique_ptr<PartResult>()>;
  // In a worker: one record of the part (a container unopened) at its stream offset, which the
  // visit may take over.
  using Visit =
      std::function<void(PartResult& result, std::unique_ptr<MessageBase>& msg, uint64_t offset)>;
  // In the calling thread, in file order; takes what it needs out of the result (one reader
  // hands the same object again, record by record) and returns the offset of the record after which
  // the reading stops, or UINT64_MAX to go on.
  using Consume = std::function<uint64_t(PartResult& result)>;

  // threads: 1 to 256.
  PartScan(const Input& in, const ReadOptions& options, unsigned threads, Progress* progress);

  // Reads the whole input (or up to where consume stops it). False on a read error or an input
  // that is no trace: then error() holds the one-line reason.
  bool run(const Make& make, const Visit& visit, const Consume& consume);

  const ReadCounts& counts() const { return counts_; }
  // As TraceReader::framing(); known once the first part is consumed.
  int framing() const { return framing_; }
  const std::string& error() const { return error_; }

 private:
  const Input& in_;
  ReadOptions options_;
  unsigned threads_;
  Progress* progress_;
  ReadCounts counts_;
  std::string error_;
  int framing_ = 0;
};

}  // namespace vxtrace::cli
