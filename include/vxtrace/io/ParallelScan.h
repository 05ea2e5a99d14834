#pragma once
// Reads a seekable trace on every core. The file is cut into parts at record boundaries the
// validating reader confirms; each part is read by its own Reader in a worker thread, and the
// parts' results are handed back in file order, so that what the caller builds from them is
// what one reader from the front would have built: the same records in the same order, the
// same losses at the same offsets, the same counts.
//
// A part owns the records, losses and diagnostic lines that start in it; a container belongs
// to the part its first byte is in and is expanded there. When a part's reader, reading on past
// its end, does not land on the next part's first record (a cut point that fell inside a record
// which itself holds a chain of frames), the next part is read again from where it did land,
// in the calling thread. A pipe or a live stream is read by one reader in the calling thread.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "vxtrace/Export.h"
#include "vxtrace/io/Reader.h"
#include "vxtrace/io/Source.h"
#include "vxtrace/io/Stats.h"

namespace vxtrace {

struct ScanOptions {
  // Worker threads; 0: one per core.
  unsigned threads = 0;
  // Bytes per part; 0: chosen from the size and the threads. More parts than threads keep the
  // cores busy when parts cost unequal time; each part's result is held until its turn.
  uint64_t partBytes = 0;
  // Parts read ahead of the one handed back; 0: twice the threads. Bounds the memory held.
  unsigned window = 0;
  // How far before a cut point the search for the next part's first record starts; 0: the
  // longest record, so that no record spanning the cut is entered in its middle.
  uint64_t lookBack = 0;
};

// The records of one part, read by one reader. Used by one thread at a time.
class VXTRACE_API Part {
 public:
  ~Part();
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;

  // As Reader::next, but null once the records that start in the part are read.
  std::unique_ptr<MessageBase> next();
  uint64_t recordOffset() const;
  unsigned depth() const;

  // Losses that start in the part, as they are found (before next() hands out the record after
  // them). Set before the first next().
  void setLossHandler(Reader::LossHandler handler);
  // Diagnostic lines of the part's records, called in the part's thread. Without a handler they
  // are held and written to the calling thread's diagnostic streams when the part's result is
  // handed back.
  void setDiagnosticHandler(Reader::DiagnosticHandler handler);

  // The part's first and last+1 stream offsets, and its place in the file.
  uint64_t begin() const;
  uint64_t end() const;
  std::size_t index() const;
  // What the part read and lost; bytesRead is the part's length. Complete once next() is null.
  const Reader::Counts& counts() const;
  // Bytes of the undecodable frames among the part's losses.
  uint64_t undecodableBytes() const;
  // The reader reading the part (its framing, its policy).
  Reader& reader();

 private:
  struct Impl;
  explicit Part(std::unique_ptr<Impl> impl);
  friend struct ScanDriver;
  std::unique_ptr<Impl> impl_;
};

struct ScanSummary {
  Framing framing = Framing::V1;
  FramingChoice framingChoice = FramingChoice::Given;
  // Empty for a trace; see Reader::notATrace. No part is read then.
  std::string notATrace;
  // The counts one reader over the whole input would give.
  Reader::Counts counts;
  uint64_t undecodableBytes = 0;
  // errno of a read error, 0 if none.
  int error = 0;
  unsigned threads = 1;
  std::size_t parts = 0;
  // Parts read again because the part before did not end on their first record.
  std::size_t reread = 0;
};

// work(part) runs in a worker thread once per part (again in the calling thread for a part
// read again, so it must depend on the part alone) and returns what it made of the part;
// consume runs in the calling thread with each result, in file order. An exception from either
// stops the scan and is rethrown here.
using PartWork = std::function<std::shared_ptr<void>(Part& part)>;
using PartConsumer = std::function<void(std::shared_ptr<void> result, Part& part)>;
VXTRACE_API ScanSummary scanParts(Source source, const ReadPolicy& policy,
                                  const ScanOptions& options, const PartWork& work,
                                  const PartConsumer& consume);

// The same with a result type of the caller's: R work(Part&), void consume(R&&).
template <typename Work, typename Consume>
ScanSummary parallelScan(Source source, const ReadPolicy& policy, const ScanOptions& options,
                         Work&& work, Consume&& consume) {
  using R = std::decay_t<std::invoke_result_t<Work&, Part&>>;
  return scanParts(
      std::move(source), policy, options,
      [&work](Part& part) -> std::shared_ptr<void> { return std::make_shared<R>(work(part)); },
      [&consume](std::shared_ptr<void> result, Part&) {
        consume(std::move(*std::static_pointer_cast<R>(result)));
      });
}

// Stats of a whole trace read in parts: equal to those of one reader from the front with the
// same policy (contained records counted when the policy expands containers).
VXTRACE_API Stats scanStats(Source source, const ReadPolicy& policy, const ScanOptions& options,
                            ScanSummary* summary = nullptr);

// The number of threads ScanOptions::threads = 0 stands for.
VXTRACE_API unsigned defaultThreads();

}  // namespace vxtrace
