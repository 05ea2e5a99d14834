#include "vxtrace/io/ParallelScan.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <limits>
#include <mutex>
#include <thread>

#include "io/ReaderAccess.h"

namespace vxtrace {

namespace {

constexpr uint64_t kNowhere = std::numeric_limits<uint64_t>::max();
// A record that spans a cut point starts at most this far before it (16-bit size field plus
// the longest prefix), so a reader started this far back is in step with the records by then.
constexpr uint64_t kLongestRecord = 65536 + 8;

struct HeldLine {
  DiagnosticLevel level;
  std::string line;
};

}  // namespace

struct Part::Impl {
  Reader reader;
  uint64_t begin = 0, end = kNowhere, size = 0;
  std::size_t index = 0;
  Reader::Counts counts;
  uint64_t undecodableBytes = 0;
  // Offset of the first record or loss at or past end: where the next part must begin.
  uint64_t landed = kNowhere;
  bool done = false;
  Reader::LossHandler onLoss;
  Reader::DiagnosticHandler onDiagnostic;
  std::vector<HeldLine> held;

  explicit Impl(Reader r) : reader(std::move(r)) {}

  void install() {
    reader.setLossHandler([this](const Reader::Loss& loss) {
      if (loss.offset >= end) {
        landed = std::min(landed, loss.offset);
        return;
      }
      switch (loss.kind) {
        case Reader::Loss::SKIPPED:
          counts.skippedBytes += loss.length;
          ++counts.skippedRuns;
          break;
        case Reader::Loss::UNDECODABLE:
          ++counts.undecodable;
          undecodableBytes += loss.length;
          break;
        case Reader::Loss::TRUNCATED:
          counts.truncatedBytes += loss.length;
          break;
      }
      if (onLoss) onLoss(loss);
    });
    reader.setDiagnosticHandler(
        [this](uint64_t offset, DiagnosticLevel level, const std::string& line) {
          if (offset >= end) return;  // the next part's
          if (onDiagnostic)
            onDiagnostic(offset, level, line);
          else
            held.push_back(HeldLine{level, line});
        });
  }
};

// Builds readers on the scanned source and runs the parts.
struct ScanDriver {
  const Source& source;
  ReadPolicy policy;
  uint64_t lookBack;

  static std::unique_ptr<Part> wrap(std::unique_ptr<Part::Impl> impl) {
    return std::unique_ptr<Part>(new Part(std::move(impl)));
  }
  // A part that is the whole input, read by a reader of its own.
  static std::unique_ptr<Part> whole(Source source, const ReadPolicy& policy) {
    auto impl = std::make_unique<Part::Impl>(Reader(std::move(source), policy));
    impl->size = kNowhere;
    impl->install();
    return wrap(std::move(impl));
  }
  static std::vector<HeldLine>& held(Part& part) { return part.impl_->held; }
  static uint64_t landed(const Part& part) { return part.impl_->landed; }

  Reader readerAt(uint64_t offset, const ReadPolicy& p, bool probing = false) const {
    if (source.kind() == Source::Kind::Memory) {
      const uint64_t at = std::min(offset, *source.size());
      Reader r(Source::memory(source.data(), static_cast<std::size_t>(*source.size()), source.name()),
               p);
      detail::ReaderAccess::restart(
          r, detail::memoryInput(source.data() + at, static_cast<std::size_t>(*source.size() - at)),
          at, probing);
      return r;
    }
    Reader r(Source::descriptor(source.fd(), source.name()), p);
    detail::ReaderAccess::restart(r, detail::fileInput(source.fd(), offset), offset, probing);
    return r;
  }

  std::unique_ptr<Part> part(std::size_t index, uint64_t begin, uint64_t end) const {
    const uint64_t size = source.size().value_or(kNowhere);
    auto impl = std::make_unique<Part::Impl>(readerAt(std::min(begin, size), policy));
    impl->index = index;
    impl->begin = begin;
    impl->end = end;
    impl->size = size;
    if (begin >= size) {
      impl->done = true;
      impl->landed = begin;
    }
    impl->install();
    return wrap(std::move(impl));
  }

  // The first record at or past cut that a reader started well before it reads; the size when
  // there is none.
  uint64_t boundary(uint64_t cut) const {
    ReadPolicy quiet = policy;
    quiet.expandContainers = false;
    quiet.invalidRecords = false;
    quiet.keepRawData = false;
    Reader r = readerAt(cut > lookBack ? cut - lookBack : 0, quiet);
    r.setDiagnosticHandler([](uint64_t, DiagnosticLevel, const std::string&) {});
    while (r.next() != nullptr)
      if (r.recordOffset() >= cut) return r.recordOffset();
    return *source.size();
  }
};

Part::Part(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Part::~Part() = default;

std::unique_ptr<MessageBase> Part::next() {
  Impl& d = *impl_;
  if (d.done) return nullptr;
  std::unique_ptr<MessageBase> msg = d.reader.next();
  if (msg == nullptr) {
    d.done = true;
    return nullptr;
  }
  if (d.reader.depth() == 0) {
    if (d.reader.recordOffset() >= d.end) {
      d.landed = std::min(d.landed, d.reader.recordOffset());
      d.done = true;
      return nullptr;
    }
    ++d.counts.records;
  }
  return msg;
}

uint64_t Part::recordOffset() const { return impl_->reader.recordOffset(); }
unsigned Part::depth() const { return impl_->reader.depth(); }
void Part::setLossHandler(Reader::LossHandler handler) { impl_->onLoss = std::move(handler); }
void Part::setDiagnosticHandler(Reader::DiagnosticHandler handler) {
  impl_->onDiagnostic = std::move(handler);
}
uint64_t Part::begin() const { return impl_->begin; }
uint64_t Part::end() const { return impl_->end; }
std::size_t Part::index() const { return impl_->index; }
const Reader::Counts& Part::counts() const {
  Impl& d = *impl_;
  const uint64_t to = std::min(d.end, d.size), from = std::min(d.begin, d.size);
  d.counts.bytesRead = d.size == kNowhere ? d.reader.counts().bytesRead : to - from;
  return d.counts;
}
uint64_t Part::undecodableBytes() const { return impl_->undecodableBytes; }
Reader& Part::reader() { return impl_->reader; }

unsigned defaultThreads() { return std::max(1u, std::thread::hardware_concurrency()); }

namespace {

void addCounts(Reader::Counts& into, const Reader::Counts& c) {
  into.bytesRead += c.bytesRead;
  into.records += c.records;
  into.skippedBytes += c.skippedBytes;
  into.skippedRuns += c.skippedRuns;
  into.undecodable += c.undecodable;
  into.truncatedBytes += c.truncatedBytes;
}

// Reads the part to its end if work stopped early, so that where it landed is known.
void drain(Part& part) {
  while (part.next() != nullptr) {
  }
}

void writeHeld(std::vector<HeldLine>& held) {
  for (const HeldLine& h : held) diagnosticStream(h.level) << h.line << std::endl;
  held.clear();
}

}  // namespace

ScanSummary scanParts(Source source, const ReadPolicy& policy, const ScanOptions& options,
                      const PartWork& work, const PartConsumer& consume) {
  ScanSummary summary;
  const unsigned threads = options.threads ? options.threads : defaultThreads();

  if (!source.seekable()) {
    // One reader, from the front, as the data arrives.
    std::unique_ptr<Part> whole = ScanDriver::whole(std::move(source), policy);
    Part& part = *whole;
    Reader& r = part.reader();
    summary.framing = r.framing();
    summary.framingChoice = r.framingChoice();
    summary.notATrace = r.notATrace();
    if (!summary.notATrace.empty()) return summary;
    std::shared_ptr<void> result = work(part);
    drain(part);
    writeHeld(ScanDriver::held(part));
    consume(std::move(result), part);
    summary.parts = 1;
    summary.counts = part.counts();
    summary.undecodableBytes = part.undecodableBytes();
    summary.error = r.error();
    return summary;
  }

  const uint64_t size = *source.size();
  ScanDriver driver{source, policy, options.lookBack ? options.lookBack : kLongestRecord};
  {
    // The framing is the whole input's: detected once, from the front.
    Reader probe = driver.readerAt(0, policy, true);
    summary.framing = probe.framing();
    summary.framingChoice = probe.framingChoice();
    summary.notATrace = probe.notATrace();
  }
  if (!summary.notATrace.empty()) return summary;
  driver.policy.framing = summary.framing;

  uint64_t partBytes = options.partBytes;
  if (partBytes == 0)
    partBytes = std::clamp<uint64_t>(size / (uint64_t{threads} * 8), 4u << 20, 32u << 20);
  const std::size_t cuts = size == 0 ? 0 : static_cast<std::size_t>((size - 1) / partBytes);
  summary.threads = threads;

  // Where each part begins: the first record at or past each cut point.
  std::vector<uint64_t> begins(cuts + 1, 0);
  std::exception_ptr failure;
  std::mutex lock;
  auto runAll = [&](std::size_t count, const std::function<void(std::size_t)>& job) {
    std::atomic<std::size_t> nextJob{0};
    auto loop = [&] {
      for (std::size_t i; (i = nextJob++) < count;) {
        try {
          job(i);
        } catch (...) {
          std::lock_guard<std::mutex> g(lock);
          if (!failure) failure = std::current_exception();
          nextJob = count;
        }
      }
    };
    std::vector<std::thread> pool;
    for (unsigned t = 1; t < std::min<std::size_t>(threads, count); ++t) pool.emplace_back(loop);
    loop();
    for (auto& t : pool) t.join();
    if (failure) std::rethrow_exception(failure);
  };
  if (threads > 1)
    runAll(cuts, [&](std::size_t i) { begins[i + 1] = driver.boundary((i + 1) * partBytes); });
  begins.resize(threads > 1 ? begins.size() : 1);
  for (std::size_t i = 1; i < begins.size(); ++i) begins[i] = std::max(begins[i], begins[i - 1]);
  begins.erase(std::unique(begins.begin(), begins.end()), begins.end());
  while (begins.size() > 1 && begins.back() >= size) begins.pop_back();
  const std::size_t parts = begins.size();
  auto endOf = [&](std::size_t i) { return i + 1 < parts ? begins[i + 1] : kNowhere; };

  // Workers read parts ahead of the one handed back, at most window of them.
  struct Slot {
    std::unique_ptr<Part> part;
    std::shared_ptr<void> result;
    std::exception_ptr failure;
    bool ready = false;
  };
  std::vector<Slot> slots(parts);
  const std::size_t window = options.window ? options.window : 2 * std::size_t{threads};
  std::condition_variable changed;
  std::size_t handed = 0, started = 0;
  bool stop = false;
  auto worker = [&] {
    for (;;) {
      std::size_t i;
      {
        std::unique_lock<std::mutex> g(lock);
        changed.wait(g, [&] { return stop || started >= parts || started < handed + window; });
        if (stop || started >= parts) return;
        i = started++;
      }
      Slot s;
      try {
        s.part = driver.part(i, begins[i], endOf(i));
        s.result = work(*s.part);
        drain(*s.part);
      } catch (...) {
        s.failure = std::current_exception();
      }
      s.ready = true;
      std::lock_guard<std::mutex> g(lock);
      slots[i] = std::move(s);
      changed.notify_all();
    }
  };
  std::vector<std::thread> pool;
  for (unsigned t = 0; t < std::min<std::size_t>(threads, parts); ++t) pool.emplace_back(worker);
  auto finish = [&] {
    {
      std::lock_guard<std::mutex> g(lock);
      stop = true;
      changed.notify_all();
    }
    for (auto& t : pool) t.join();
  };

  try {
    uint64_t landed = 0;
    for (std::size_t i = 0; i < parts; ++i) {
      Slot s;
      {
        std::unique_lock<std::mutex> g(lock);
        changed.wait(g, [&] { return slots[i].ready; });
        s = std::move(slots[i]);
        handed = i + 1;
        changed.notify_all();
      }
      if (s.failure) std::rethrow_exception(s.failure);
      if (landed != s.part->begin()) {
        // The part before did not end on this part's first record: read it again from there.
        ++summary.reread;
        s.part = driver.part(i, landed, endOf(i));
        s.result = work(*s.part);
        drain(*s.part);
      }
      Part& part = *s.part;
      writeHeld(ScanDriver::held(part));
      consume(std::move(s.result), part);
      addCounts(summary.counts, part.counts());
      summary.undecodableBytes += part.undecodableBytes();
      if (const int e = part.reader().error(); e != 0 && summary.error == 0) summary.error = e;
      landed = ScanDriver::landed(part);
    }
  } catch (...) {
    finish();
    throw;
  }
  finish();
  summary.parts = parts;
  // A part that begins past the end (read again after a cut-off tail) counts no bytes.
  summary.counts.bytesRead = size;
  return summary;
}

Stats scanStats(Source source, const ReadPolicy& policy, const ScanOptions& options,
                ScanSummary* summary) {
  Stats total;
  const ScanSummary s = parallelScan(
      std::move(source), policy, options,
      [](Part& part) {
        Stats stats;
        while (auto msg = part.next()) stats.add(*msg, part.depth() > 0);
        return stats;
      },
      [&total](Stats&& stats) { total.merge(stats); });
  total.setReaderCounts(s.counts, s.undecodableBytes);
  if (summary) *summary = s;
  return total;
}

}  // namespace vxtrace
