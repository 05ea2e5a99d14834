// The compiled half of the vxtrace Python package: records one by one, CAN frames as numpy
// columns filled without the GIL, and the CAN record encoder of the python-can writer.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "Session.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/export/Exporter.h"
#include "vxtrace/io/CanFrame.h"
#include "vxtrace/io/Channel.h"
#include "vxtrace/io/CanScan.h"
#include "vxtrace/io/Filter.h"
#include "vxtrace/io/ParallelScan.h"

namespace py = pybind11;
using namespace vxtrace::python;
using vxtrace::CanFrame;
using vxtrace::Exporter;
using vxtrace::exportFormats;
using vxtrace::makeExporter;

namespace {

// vxtrace.FormatError, set by the package on import; kept for the life of the process.
PyObject* formatError = PyExc_ValueError;

py::list problemList(Session& session, uint64_t& dropped) {
  py::list out;
  for (const Problem& p : session.takeProblems(dropped))
    out.append(py::make_tuple(p.kind, p.offset, p.length, p.text));
  return out;
}

// ---- records -------------------------------------------------------------------------------

class Record {
 public:
  Record(std::shared_ptr<const MessageBase> msg, uint64_t offset, std::vector<uint8_t> frame)
      : msg_(std::move(msg)), offset_(offset), frame_(std::move(frame)) {
    if (vxtrace::toCanFrame(*msg_, *can_) != nullptr) can_.reset();
  }

  std::string kind() const {
    if (const char* name = getMsgIdName(msg_->msgId)) return name;
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(msg_->msgId));
    return text;
  }
  unsigned kindId() const { return static_cast<unsigned>(msg_->msgId); }
  unsigned long long timeUs() const { return msg_->timeStamp; }
  std::string channel() const { return vxtrace::channelLabel(*msg_); }
  uint64_t offset() const { return offset_; }
  std::string text() const { return msg_->toString(); }
  py::bytes frame() const {
    if (!frame_.empty()) return py::bytes(reinterpret_cast<const char*>(frame_.data()), frame_.size());
    std::vector<unsigned char> bytes;
    msg_->createByteArray(bytes, false, false);
    return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }
  std::string repr() const {
    return "<vxtrace.Record " + kind() + " " + channel() + " time_us=" +
           std::to_string(msg_->timeStamp) + ">";
  }
  const CanFrame& can() const {
    if (!can_) throw py::attribute_error(kind() + " record carries no CAN frame");
    return *can_;
  }
  bool isCan() const { return can_.has_value(); }

 private:
  std::shared_ptr<const MessageBase> msg_;
  uint64_t offset_;
  std::vector<uint8_t> frame_;  // stored bytes of a top-level record; empty for inner ones
  std::optional<CanFrame> can_{CanFrame()};
};

class RecordReader {
 public:
  RecordReader(py::handle source, Policy policy, py::function report)
      : session_(std::make_unique<Input>(source), policy), report_(std::move(report)) {}

  Record next() {
    std::shared_ptr<const MessageBase> msg;
    {
      py::gil_scoped_release unlocked;
      msg = session_.next();
    }
    flush();
    if (!msg) {
      session_.raiseIfFailed(formatError);
      throw py::stop_iteration();
    }
    return Record(msg, session_.offset(),
                  session_.lastWasTop() ? session_.frameOf(*msg) : std::vector<uint8_t>());
  }

  py::dict counts() const {
    const auto& c = session_.counts();
    py::dict d;
    d["bytes_read"] = c.bytesRead;
    d["records"] = c.records;
    d["skipped_bytes"] = c.skippedBytes;
    d["skipped_runs"] = c.skippedRuns;
    d["undecodable"] = c.undecodable;
    d["truncated_bytes"] = c.truncatedBytes;
    return d;
  }

  void flush() {
    uint64_t dropped = 0;
    py::list problems = problemList(session_, dropped);
    if (problems.size() || dropped) report_(problems, dropped);
  }

 private:
  Session session_;
  py::function report_;
};

// ---- CAN frames as columns -----------------------------------------------------------------

// The io layer's filter built from what Python passes: identifiers and channels as the filter's
// own texts, times in microseconds ([start, end)). Raises ValueError with the filter's reason.
vxtrace::Filter makeFilter(const std::vector<std::string>& ids,
                           const std::vector<std::string>& channels,
                           std::optional<uint64_t> start, std::optional<uint64_t> end) {
  vxtrace::Filter filter;
  auto check = [](const std::string& why) {
    if (!why.empty()) throw py::value_error("vxtrace: " + why);
  };
  for (const std::string& id : ids) check(filter.addCanId(id));
  for (const std::string& channel : channels) check(filter.addChannel(channel));
  check(filter.setTimeRange(start, end));
  return filter;
}

bool isCanRecord(msgid_t id) {
  return id == MSGID_CAN || id == MSGID_CAN_EXT || id == MSGID_CAN_PROXY;
}

// The pages of the last result given back, kept for the next one: the kernel zeroes every
// page of a fresh mapping, which costs as much as a third of filling it. They are lazily freed,
// so the kernel takes them back when memory runs short, and no more than kKeep bytes are kept.
class SparePages {
 public:
  // A mapping of bytes bytes (a whole number of huge pages), or null.
  static uint8_t* take(std::size_t& bytes) {
    std::lock_guard<std::mutex> g(lock());
    bytes = std::exchange(spare().second, 0);
    return std::exchange(spare().first, nullptr);
  }
  // The mapping p of bytes bytes (whole huge pages), kept or unmapped: the larger of it and
  // the one kept is kept.
  static void give(uint8_t* p, std::size_t bytes) {
    if (p == nullptr || bytes == 0) return;
    const std::size_t keep = std::min(bytes, kKeep);
    if (keep < bytes) ::munmap(p + keep, bytes - keep);
    if (::madvise(p, keep, MADV_FREE) != 0) {
      ::munmap(p, keep);
      return;
    }
    std::pair<uint8_t*, std::size_t> other{p, keep};
    {
      std::lock_guard<std::mutex> g(lock());
      if (spare().second < keep) std::swap(spare(), other);
    }
    if (other.first != nullptr) ::munmap(other.first, other.second);
  }

 private:
  static constexpr std::size_t kKeep = std::size_t{64} << 20;
  static std::mutex& lock() {
    static std::mutex m;
    return m;
  }
  static std::pair<uint8_t*, std::size_t>& spare() {
    static std::pair<uint8_t*, std::size_t> s{nullptr, 0};
    return s;
  }
};

// The columns: one table of CanFrame rows in one anonymous mapping that is grown with mremap.
// Growing moves pages instead of copying them, so no second copy of the result is ever held;
// each column is a strided view of the table, and frames are decoded straight into their rows.
// One mapping takes huge pages throughout: faulting a result in 4 KiB at a time, or once per
// column, costs more than filling it.
class CanColumns {
 public:
  CanColumns() = default;
  ~CanColumns() { SparePages::give(reinterpret_cast<uint8_t*>(rows_), mappedBytes(capacity_)); }
  CanColumns(const CanColumns&) = delete;
  CanColumns& operator=(const CanColumns&) = delete;

  void push(const CanFrame& f) {
    std::size_t count;
    *room(count) = f;
    commit(1);
  }
  // Room for count rows (at least one) after the last, and the rows of it that were filled.
  CanFrame* room(std::size_t& count) {
    if (n_ == capacity_) grow(capacity_ < 65536 ? 65536 : 2 * capacity_);
    count = capacity_ - n_;
    return rows_ + n_;
  }
  void commit(std::size_t count) { n_ += count; }
  // Row i, which must lie below the capacity; for writers that place rows themselves.
  CanFrame& at(std::size_t i) { return rows_[i]; }
  std::size_t size() const { return n_; }
  std::size_t capacity() const { return capacity_; }
  void clear() { n_ = 0; }
  void swap(CanColumns& other) {
    std::swap(rows_, other.rows_);
    std::swap(n_, other.n_);
    std::swap(capacity_, other.capacity_);
  }
  // Room for rows rows without faulting any of it in; false where the address space refuses.
  bool reserve(std::size_t rows) {
    if (rows > std::numeric_limits<std::size_t>::max() / kRow / 2) return false;
    try {
      grow(rows);
    } catch (const std::bad_alloc&) {
      return false;
    }
    return true;
  }

  // Rows [from, from + count) moved to row to (the ranges may overlap), or copied from other's
  // first rows (other: not this one); the size becomes at least to + count.
  struct Move {
    std::size_t to;
    const CanColumns* other;  // null: from this one
    std::size_t from, count;
  };
  // The moves (in row order, their targets apart) done so that none overwrites rows still to
  // be moved: those up the rows from the last, then those down from the first, then the copies
  // from other columns, cut into slices, one per thread: copying is what a parallel read pays
  // for one result.
  void apply(const std::vector<Move>& moves, unsigned threads) {
    std::size_t end = n_;
    for (const Move& m : moves) end = std::max(end, m.to + m.count);
    grow(end);
    auto move = [this](const Move& m) {
      std::memmove(rows_ + m.to, rows_ + m.from, kRow * m.count);
    };
    for (auto m = moves.rbegin(); m != moves.rend(); ++m)
      if (m->other == nullptr && m->to > m->from) move(*m);
    std::vector<std::pair<uint8_t*, const uint8_t*>> slices;
    std::vector<std::size_t> sizes;
    std::size_t bytes = 0;
    for (const Move& m : moves) {
      if (m.other == nullptr) {
        if (m.to < m.from) move(m);
      } else {
        slices.emplace_back(reinterpret_cast<uint8_t*>(rows_ + m.to),
                            reinterpret_cast<const uint8_t*>(m.other->rows_ + m.from));
        sizes.push_back(kRow * m.count);
        bytes += kRow * m.count;
      }
    }
    n_ = end;
    const std::size_t share = bytes / std::max(threads, 1u) + 1;
    auto copy = [&](std::size_t from) {
      // This thread's share of the concatenated slices, from byte from on.
      std::size_t at = 0, left = share;
      for (std::size_t i = 0; i < slices.size() && left != 0; at += sizes[i++]) {
        if (from >= at + sizes[i]) continue;
        const std::size_t skip = from - at, n = std::min(sizes[i] - skip, left);
        std::memcpy(slices[i].first + skip, slices[i].second + skip, n);
        left -= n;
        from += n;
      }
    };
    std::vector<std::thread> helpers;
    for (std::size_t t = 1; t < threads && t * share < bytes; ++t) helpers.emplace_back(copy, t * share);
    copy(0);
    for (std::thread& h : helpers) h.join();
  }

  // The columns as numpy arrays that own their memory together; this object is empty afterwards.
  py::dict release() {
    const std::size_t used = mappedBytes(n_), mapped = mappedBytes(capacity_);
    auto* base = reinterpret_cast<uint8_t*>(std::exchange(rows_, nullptr));
    if (used < mapped) ::munmap(base + used, mapped - used);  // mostly never faulted in
    if (used == 0) base = nullptr;
    static const struct {
      const char* name;
      std::size_t offset;
      const char* dtype;
    } kColumns[] = {
        {"time_us", offsetof(CanFrame, timeUs), "int64"}, {"channel", offsetof(CanFrame, channel), "uint8"},
        {"can_id", offsetof(CanFrame, id), "uint32"},     {"extended", offsetof(CanFrame, extended), "bool"},
        {"fd", offsetof(CanFrame, fd), "bool"},           {"brs", offsetof(CanFrame, brs), "bool"},
        {"esi", offsetof(CanFrame, esi), "bool"},         {"remote", offsetof(CanFrame, remote), "bool"},
        {"error", offsetof(CanFrame, error), "bool"},     {"tx", offsetof(CanFrame, tx), "bool"},
        {"dlc", offsetof(CanFrame, dlc), "uint8"},        {"length", offsetof(CanFrame, length), "uint8"},
        {"data", offsetof(CanFrame, data), "uint8"}};
    auto* mapping = new std::pair<void*, std::size_t>(base, used);
    py::capsule owner(mapping, [](void* m) {
      auto* q = static_cast<std::pair<void*, std::size_t>*>(m);
      SparePages::give(static_cast<uint8_t*>(q->first), q->second);
      delete q;
    });
    py::dict d;
    for (const auto& c : kColumns) {
      std::vector<py::ssize_t> shape{static_cast<py::ssize_t>(n_)},
          strides{static_cast<py::ssize_t>(kRow)};
      if (c.offset == offsetof(CanFrame, data)) {
        shape.push_back(64);
        strides.push_back(1);
      }
      d[c.name] = py::array(py::dtype(c.dtype), shape, strides, base + c.offset, owner);
    }
    n_ = capacity_ = 0;
    return d;
  }

 private:
  static constexpr std::size_t kRow = sizeof(CanFrame);
  static_assert(offsetof(CanFrame, timeUs) % 8 == 0 && offsetof(CanFrame, id) % 4 == 0 &&
                    sizeof(bool) == 1 && kRow % 8 == 0,
                "the columns of CanFrame rows are numpy arrays");

  // Whole huge pages: a mapping's partial last one would be faulted in small pages.
  static std::size_t mappedBytes(std::size_t rows) {
    const std::size_t page = std::size_t{2} << 20;
    return rows == 0 ? 0 : (rows * kRow + page - 1) / page * page;
  }
  // Room for capacity rows at least.
  void grow(std::size_t capacity) {
    if (rows_ == nullptr) {  // the pages of a result given back, if any
      std::size_t bytes = 0;
      rows_ = reinterpret_cast<CanFrame*>(SparePages::take(bytes));
      capacity_ = bytes / kRow;
    }
    if (capacity <= capacity_) return;
    // A new mapping on a huge-page boundary, the old pages moved to its front.
    constexpr std::size_t huge = std::size_t{2} << 20;
    const std::size_t to = mappedBytes(capacity), from = mappedBytes(capacity_);
    auto* q = static_cast<uint8_t*>(::mmap(nullptr, to + huge, PROT_READ | PROT_WRITE,
                                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    if (q == MAP_FAILED) throw std::bad_alloc();
    const std::size_t lead = (huge - reinterpret_cast<uintptr_t>(q) % huge) % huge;
    if (lead != 0) ::munmap(q, lead);
    ::munmap(q + lead + to, huge - lead);
    q += lead;
    ::madvise(q, to, MADV_HUGEPAGE);
    if (rows_ != nullptr &&
        ::mremap(rows_, from, from, MREMAP_MAYMOVE | MREMAP_FIXED, q) == MAP_FAILED) {
      ::munmap(q, to);
      throw std::bad_alloc();
    }
    rows_ = reinterpret_cast<CanFrame*>(q);
    capacity_ = capacity;
  }

  std::size_t n_ = 0, capacity_ = 0;
  CanFrame* rows_ = nullptr;
};

// Takes the CAN frames among the records next() hands out until it gives null, or until max
// frames are taken (max < 0: no limit); false when it stopped at the limit.
template <typename Next>
bool takeFrames(Next&& next, vxtrace::Filter& filter, CanColumns& columns, long long max = -1) {
  const bool filtering = !filter.empty();
  CanFrame f;
  while (max < 0 || columns.size() < static_cast<std::size_t>(max)) {
    std::unique_ptr<MessageBase> msg = next();
    if (!msg) return true;
    if (isCanRecord(msg->msgId) && vxtrace::toCanFrame(*msg, f) == nullptr &&
        (!filtering || filter.matches(*msg)))
      columns.push(f);
  }
  return false;
}

// One reader from the front, in batches: pipes, file objects, bytes and iter_can.
class CanReader {
 public:
  CanReader(py::handle source, vxtrace::Filter filter)
      : session_(std::make_unique<Input>(source), Policy{}), filter_(std::move(filter)) {}

  // Up to max frames (max < 0: to the end), as (columns, problems, dropped problems, ended).
  py::tuple read(long long max) {
    CanColumns columns;
    bool ended;
    {
      py::gil_scoped_release unlocked;
      ended = takeFrames([this] { return session_.next(); }, filter_, columns, max);
    }
    uint64_t dropped = 0;
    py::list problems = problemList(session_, dropped);
    if (ended) session_.raiseIfFailed(formatError);
    return py::make_tuple(columns.release(), problems, dropped, ended);
  }

 private:
  Session session_;
  vxtrace::Filter filter_;
};

// Where each part of a parallel read puts its frames. A part that can count its frames before
// reading them (countCleanCanRecords) and whose parts before it have counted theirs writes them
// straight into its rows of the one result: the parts then need no second copy. A part that
// cannot, a part read again, and every part after them gather their frames on their own, to be
// copied in at the end.
class Placement {
 public:
  static constexpr int64_t kGather = -1;

  // Places nothing when out has no room reserved.
  explicit Placement(const CanColumns& out) : out_(out), enabled_(out.capacity() != 0) {
    start_[0] = 0;
  }

  // Part i's first row, or kGather; count: an upper bound of its frames, if it has one, or
  // kRest for the last part, which may take every row left. Sets limit to the rows it may
  // write. Called once for each part, in its worker; a second call for a part (read again)
  // gets kGather.
  static constexpr uint64_t kRest = ~uint64_t{0};
  int64_t claim(std::size_t i, std::optional<uint64_t> count, std::size_t& limit) {
    std::unique_lock<std::mutex> g(lock_);
    limit = 0;
    if (!claimed_.insert(i).second) return kGather;
    // The part before claims right after counting. A part whose worker failed before claiming
    // never does, hence the bound on the wait: the scan reports that failure anyway.
    changed_.wait_for(g, std::chrono::seconds(5), [&] { return start_.count(i) != 0; });
    const int64_t start = start_.count(i) ? start_[i] : kGather;
    const uint64_t room = start == kGather ? 0 : out_.capacity() - static_cast<uint64_t>(start);
    const bool placed = start != kGather && count && (*count == kRest || *count <= room);
    const bool last = placed && *count == kRest;
    start_[i + 1] = placed && !last ? start + static_cast<int64_t>(*count) : kGather;
    changed_.notify_all();
    if (!placed) return kGather;
    limit = static_cast<std::size_t>(last ? room : *count);
    return start;
  }
  // For a part that ends without claiming (its work failed): the parts after it gather.
  void giveUp(std::size_t i) {
    std::size_t none;
    claim(i, std::nullopt, none);
  }

  bool enabled() const { return enabled_; }
  // Whether a part after part i (which has claimed) may write rows into the result.
  bool mayPlaceAfter(std::size_t i) {
    std::lock_guard<std::mutex> g(lock_);
    const auto next = start_.find(i + 1);
    return enabled_ && (next == start_.end() || next->second != kGather);
  }

 private:
  const CanColumns& out_;
  const bool enabled_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::map<std::size_t, int64_t> start_;  // of the parts whose part before has claimed
  std::set<std::size_t> claimed_;
};

// The most bytes of a part, and those it holds (the part and the longest record that may start
// in it): little enough to be held by every thread at once, and for the heap to reuse.
constexpr uint64_t kPartBytes = 16u << 20;
constexpr std::size_t kHeldPartBytes = kPartBytes + (1u << 17);

// A seekable file on threads threads: each part's frames are placed or gathered in its worker
// thread, its problems gathered there, and all is joined in file order. Returns what
// CanReader::read(-1) returns.
py::tuple readCanInParts(py::handle source, const vxtrace::Filter& filter, unsigned threads) {
  struct Chunk {
    int64_t start = Placement::kGather;  // first row of the frames written into the result
    std::size_t placed = 0;              // how many were
    CanColumns columns;                  // the frames gathered
    ProblemList problems;
    uint64_t cleanRecords = 0;  // records taken straight from the bytes, not in the counts
  };
  Input input(source);
  vxtrace::ReadPolicy policy;
  policy.expandContainers = true;
  vxtrace::Source file = vxtrace::Source::descriptor(input.fd(), input.name());
  vxtrace::ScanOptions options;
  options.threads = threads;
  // One part per thread: the frames of a logger's trace cost the same everywhere, and each cut
  // costs a look for the next part's first record.
  CanColumns out;
  if (file.size()) {
    options.partBytes = std::clamp<uint64_t>(*file.size() / threads + 1, 1u << 20, kPartBytes);
    // Every record takes 16 bytes or more: enough rows unless containers hold more, in which
    // case their parts gather their frames.
    if (filter.empty() && threads > 1) out.reserve(static_cast<std::size_t>(*file.size() / 16 + 1));
  }
  ProblemList found;
  uint64_t cleanRecords = 0;
  std::size_t joined = 0;                       // rows of the parts joined to the result
  std::vector<std::shared_ptr<Chunk>> pending;  // parts consumed, not joined yet
  // Joins the pending parts to the rows before them. Each part's rows go where the parts before
  // it end: placed rows move down over rows counted but not taken (or up, past a part read
  // again that gathered more), and the gathered ones are copied in.
  auto join = [&](unsigned copiers) {
    std::vector<CanColumns::Move> moves, copies;
    std::size_t row = joined;
    for (const auto& chunk : pending) {
      if (chunk->placed != 0)
        moves.push_back({row, nullptr, static_cast<std::size_t>(chunk->start), chunk->placed});
      row += chunk->placed;
      if (chunk->columns.size() != 0)
        copies.push_back({row, &chunk->columns, 0, chunk->columns.size()});
      row += chunk->columns.size();
    }
    if (moves.empty() && !copies.empty() && copies.front().to == 0) {
      // Nothing placed: the first rows gathered become the result as they stand.
      for (const auto& chunk : pending)
        if (&chunk->columns == copies.front().other) out.swap(chunk->columns);
      copies.erase(copies.begin());
    }
    moves.insert(moves.end(), copies.begin(), copies.end());
    out.apply(moves, copiers);
    joined = row;
    pending.clear();
  };
  vxtrace::ScanSummary summary;
  {
    py::gil_scoped_release unlocked;
    Placement placement(out);
    summary = vxtrace::scanParts(
        std::move(file), policy, options,
        [&](vxtrace::Part& part) -> std::shared_ptr<void> {
          // The handlers may still be called while the part is drained after this returns.
          auto chunk = std::make_shared<Chunk>();
          ProblemList* problems = &chunk->problems;
          part.setLossHandler([problems](const vxtrace::Reader::Loss& loss) {
            problems->add(lossProblem(loss));
          });
          part.setDiagnosticHandler(
              [problems](uint64_t offset, vxtrace::DiagnosticLevel level, const std::string& line) {
                problems->add(lineProblem(offset, level, line));
              });
          vxtrace::Filter own = filter;  // matches() marks values as seen: one per thread
          const bool filtering = !own.empty();
          std::size_t limit = 0;
          // A placed part reads its bytes once, while the parts before it count theirs.
          vxtrace::CanPartBytes bytes;
          if (placement.enabled()) {
            struct Unclaimed {  // whatever happens, the parts after this one learn where to go
              Placement& placement;
              std::size_t index;
              bool done = false;
              ~Unclaimed() {
                if (!done) placement.giveUp(index);
              }
            } guard{placement, part.index()};
            bytes.read(part, kHeldPartBytes);
            // The last part's count would tell no part where to begin.
            const std::optional<uint64_t> count =
                part.end() == std::numeric_limits<uint64_t>::max()
                    ? Placement::kRest
                    : vxtrace::countCleanCanRecords(part, &bytes);
            chunk->start = placement.claim(part.index(), count, limit);
            guard.done = true;
          }
          // Its rows in the result while they last, then rows of its own.
          struct Rows final : vxtrace::CanFrameStore {
            CanColumns& out;
            Chunk& chunk;
            const std::size_t limit;
            bool placing = false;
            Rows(CanColumns& o, Chunk& c, std::size_t l) : out(o), chunk(c), limit(l) {}
            void push(const CanFrame& f) {
              std::size_t count;
              *room(count) = f;
              commit(1);
            }
            CanFrame* room(std::size_t& count) override {
              placing = chunk.placed < limit;
              if (!placing) return chunk.columns.room(count);
              count = limit - chunk.placed;
              return &out.at(static_cast<std::size_t>(chunk.start) + chunk.placed);
            }
            void commit(std::size_t count) override {
              if (placing)
                chunk.placed += count;
              else
                chunk.columns.commit(count);
            }
          } rows(out, *chunk, limit);
          if (filtering) {
            chunk->cleanRecords = vxtrace::takeCleanCanFrames(
                part, [&](const CanFrame& f, const MessageBase* record, const uint8_t* frame,
                          std::size_t size) {
                  // The filter reads records: only a filtered read builds them.
                  std::unique_ptr<MessageBase> decoded;
                  if (record == nullptr) {
                    decoded.reset(MessageBase::readFromByteArray(frame, static_cast<unsigned>(size)));
                    record = decoded.get();
                  }
                  if (record != nullptr && own.matches(*record)) rows.push(f);
                },
                &bytes);
          } else {
            chunk->cleanRecords = vxtrace::takeCleanCanFramesInto(part, rows, &bytes);
          }
          if (chunk->cleanRecords == 0) {
            chunk->placed = 0;
            chunk->columns.clear();
            own = filter;
            takeFrames([&part] { return part.next(); }, own, chunk->columns);
          }
          return chunk;
        },
        [&](std::shared_ptr<void> result, vxtrace::Part& part) {
          auto chunk = std::static_pointer_cast<Chunk>(result);
          found.append(std::move(chunk->problems));
          cleanRecords += chunk->cleanRecords;
          const bool gathered = chunk->columns.size() != 0;
          pending.push_back(std::move(chunk));
          // Rows gathered are joined as they come, so that no more than a window of parts is
          // held beside the result, unless a part yet to come may still write rows in place.
          if (gathered && !placement.mayPlaceAfter(part.index())) join(1);
        });
    join(threads);
  }
  summary.counts.records += cleanRecords;
  py::list list;
  for (const Problem& p : found.kept)
    list.append(py::make_tuple(p.kind, p.offset, p.length, p.text));
  raiseIfNoTrace(formatError, input.name(), summary.error, summary.notATrace, summary.counts);
  return py::make_tuple(out.release(), list, found.dropped, true);
}

// ---- encoding ------------------------------------------------------------------------------

// One CAN frame as a V1 record with its marker: the classic record for 11-bit classic frames,
// the extended one for 29-bit and CAN FD frames.
py::bytes encodeCan(unsigned long long timeUs, unsigned channel, uint32_t id, bool extended,
                    bool fd, bool brs, bool esi, bool error, bool tx, py::bytes data) {
  const std::string bytes = data;
  if (channel > 255) throw py::value_error("vxtrace: channel " + std::to_string(channel) + " out of range 0..255");
  if (bytes.size() > (fd ? 64u : 8u))
    throw py::value_error("vxtrace: " + std::to_string(bytes.size()) + " data bytes in a " +
                          (fd ? "CAN FD" : "classic CAN") + " frame");
  if (id > (extended ? 0x1FFFFFFFu : 0x7FFu))
    throw py::value_error("vxtrace: CAN identifier out of range");
  const auto* p = reinterpret_cast<const uint8_t*>(bytes.data());
  const auto n = static_cast<unsigned>(bytes.size());
  const canframe_t frame = error ? CAN_FRAME_ERROR : tx ? CAN_FRAME_TXMESSAGE : CAN_FRAME_STANDARD;
  const uint8_t state = static_cast<uint8_t>((fd && brs ? 0x40 : 0) | (fd && esi ? 0x80 : 0));
  std::unique_ptr<MessageBase> msg;
  if (error || (!extended && !fd)) {
    msg = std::make_unique<CANTraceMessage>(timeUs, static_cast<uint8_t>(channel), frame, state,
                                            error ? 0 : id, p, error ? 0 : n);
  } else {
    const cantype_t type = fd ? (extended ? CAN_TYPE_FD_EXT : CAN_TYPE_FD_STD) : CAN_TYPE_EXTENDED;
    msg = std::make_unique<CANExtTraceMessage>(timeUs, static_cast<uint8_t>(channel), frame, state,
                                               type, id, p, n);
  }
  std::vector<unsigned char> out;
  msg->createByteArray(out, true, false);
  return py::bytes(reinterpret_cast<const char*>(out.data()), out.size());
}

// ---- export --------------------------------------------------------------------------------

// Every record of a trace through one of the library's exporters into a file. The file is
// written under a temporary name beside it and renamed into place only when all went well.
py::dict exportTrace(py::handle source, const std::string& path, const std::string& format,
                     bool diag, py::function report) {
  std::string temp = path + ".vxtrace-XXXXXX";
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) throw std::system_error(errno, std::generic_category(), "vxtrace: cannot create " + path);
  std::FILE* file = ::fdopen(fd, "wb");
  if (file == nullptr) {
    ::close(fd);
    ::unlink(temp.c_str());
    throw std::system_error(errno, std::generic_category(), "vxtrace: cannot create " + path);
  }
  vxtrace::FileSink sink(file);
  std::unique_ptr<Exporter> exporter = makeExporter(format, sink);
  bool ok = exporter != nullptr;
  std::unique_ptr<Session> session;
  try {
    if (!exporter) throw py::value_error("vxtrace: unknown export format '" + format + "'");
    session = std::make_unique<Session>(std::make_unique<Input>(source),
                                        Policy{false, true, false, diag});
    for (;;) {
      std::unique_ptr<MessageBase> msg;
      {
        py::gil_scoped_release unlocked;
        msg = session->next();
        if (msg) exporter->add(*msg);
      }
      uint64_t dropped = 0;
      py::list problems = problemList(*session, dropped);
      if (problems.size() || dropped) report(problems, dropped);
      if (!msg) break;
    }
    session->raiseIfFailed(formatError);
    exporter->finish();
    ok = std::fflush(file) == 0 && !std::ferror(file);
  } catch (...) {
    std::fclose(file);
    ::unlink(temp.c_str());
    throw;
  }
  ok = std::fclose(file) == 0 && ok && ::rename(temp.c_str(), path.c_str()) == 0;
  if (!ok) {
    const int err = errno;
    ::unlink(temp.c_str());
    throw std::system_error(err, std::generic_category(), "vxtrace: cannot write " + path);
  }
  py::dict left;
  for (const auto& [key, n] : exporter->skipped()) {
    const std::string name = key.first + ": " + std::string(getMsgIdName(static_cast<msgid_t>(key.second)));
    left[py::str(name)] = n;
  }
  py::dict d;
  d["written"] = exporter->written();
  d["left_out"] = left;
  return d;
}

}  // namespace

PYBIND11_MODULE(_vxtrace, m) {
  m.doc() = "Compiled core of the vxtrace package; use the vxtrace module.";
  Session::setUp();

  m.def("_set_format_error", [](py::object cls) { formatError = cls.inc_ref().ptr(); });

  py::class_<Record>(m, "Record")
      .def_property_readonly("kind", &Record::kind)
      .def_property_readonly("kind_id", &Record::kindId)
      .def_property_readonly("time_us", &Record::timeUs)
      .def_property_readonly("channel", &Record::channel)
      .def_property_readonly("offset", &Record::offset)
      .def_property_readonly("is_can", &Record::isCan)
      .def_property_readonly("can_id", [](const Record& r) { return r.can().id; })
      .def_property_readonly("extended", [](const Record& r) { return r.can().extended; })
      .def_property_readonly("fd", [](const Record& r) { return r.can().fd; })
      .def_property_readonly("brs", [](const Record& r) { return r.can().brs; })
      .def_property_readonly("esi", [](const Record& r) { return r.can().esi; })
      .def_property_readonly("remote", [](const Record& r) { return r.can().remote; })
      .def_property_readonly("error", [](const Record& r) { return r.can().error; })
      .def_property_readonly("tx", [](const Record& r) { return r.can().tx; })
      .def_property_readonly("dlc", [](const Record& r) { return r.can().dlc; })
      .def_property_readonly("data",
                             [](const Record& r) {
                               const CanFrame& f = r.can();
                               return py::bytes(reinterpret_cast<const char*>(f.data), f.length);
                             })
      .def("__str__", &Record::text)
      .def("__bytes__", &Record::frame)
      .def("__repr__", &Record::repr);

  py::class_<RecordReader>(m, "_RecordReader")
      .def(py::init([](py::handle source, bool invalid, bool diag, bool expand,
                       py::function report) {
             return std::make_unique<RecordReader>(source, Policy{invalid, expand, true, diag},
                                                   std::move(report));
           }),
           py::arg("source"), py::arg("invalid"), py::arg("diag"), py::arg("expand"),
           py::arg("report"))
      .def("__iter__", [](py::object self) { return self; })
      .def("__next__", &RecordReader::next)
      .def_property_readonly("counts", &RecordReader::counts);

  py::class_<CanReader>(m, "_CanReader")
      .def(py::init([](py::handle source, std::vector<std::string> ids,
                       std::vector<std::string> channels, std::optional<uint64_t> start,
                       std::optional<uint64_t> end) {
             return std::make_unique<CanReader>(source, makeFilter(ids, channels, start, end));
           }),
           py::arg("source"), py::arg("ids"), py::arg("channels"), py::arg("start"), py::arg("end"))
      .def("read", &CanReader::read, py::arg("max") = -1);

  m.def(
      "_read_can_in_parts",
      [](py::handle source, std::vector<std::string> ids, std::vector<std::string> channels,
         std::optional<uint64_t> start, std::optional<uint64_t> end, unsigned threads) {
        return readCanInParts(source, makeFilter(ids, channels, start, end), threads);
      },
      py::arg("source"), py::arg("ids"), py::arg("channels"), py::arg("start"), py::arg("end"),
      py::arg("threads"));
  m.def("_default_threads", &vxtrace::defaultThreads);

  m.def("_export", &exportTrace, py::arg("source"), py::arg("path"), py::arg("format"),
        py::arg("diag"), py::arg("report"));
  m.def("export_formats", &exportFormats);

  m.def("_encode_can", &encodeCan, py::arg("time_us"), py::arg("channel"), py::arg("can_id"),
        py::arg("extended"), py::arg("fd"), py::arg("brs"), py::arg("esi"), py::arg("error"),
        py::arg("tx"), py::arg("data"));
}
