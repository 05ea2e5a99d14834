// Throughput of the library on a 64 MiB in-memory trace, against memcpy of the same bytes as the
// ceiling. Cutting and decoding take the whole trace; encoding and printing its CAN records.
//
// Frame cutting is measured twice. "CutInPlace" aims a TraceMessageBuffer's buffer at the trace
// itself (a subclass swaps pbuffer, pDataStart and pDataEnd and restores them before the base
// destructor runs), so that only getNextMessage(begin, end) is timed. "CutFromMemfd" reads the
// trace through read(2) from a memfd into a 1 MiB buffer, as an application reading a cached
// file would; the difference between the two is the kernel's copy. A pipe is not used: at
// these rates it measures the pipe.
//
// Rates are per wall-clock second (UseRealTime), memcpy's included. Counters: bytes/s and items/s
// (records), "vs_memcpy" (bytes/s divided by the memcpy rate of the same run), "allocs/record"
// (calls of the global operator new per record) and "peak_heap_KiB" (the most heap held at once,
// trace and output excluded where they are allocated before the pass), both from one untimed pass
// before the timed loop.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/MessageIds.h"
#include "vxtrace/TraceFileReader.h"
#include "vxtrace/TraceMessageBuffer.h"
#include "vxtrace/io/ParallelScan.h"
#include "vxtrace/io/Reader.h"
#include "vxtrace/io/Seek.h"
#include "vxtrace/io/Stats.h"
#include "vxtrace/io/TraceFileWriter.h"
#ifdef VXTRACE_BENCH_WITH_GENERATOR
#include "TraceGenerator.h"
#endif

// ---- heap accounting: every operator new of the process, the library's included ------------
// Counting costs a malloc_usable_size and a few stores per call, several per cent of a decode
// rate: it is on only in one untimed pass of each benchmark (countPass), so the timed loops
// measure the library alone.
namespace {
struct HeapStats {
  std::atomic<bool> counting{false};  // read on every call, written only between passes
  uint64_t allocations = 0;
  int64_t live = 0;
  int64_t peak = 0;
};
HeapStats heap;

void* countedAlloc(std::size_t n) {
  void* p = std::malloc(n == 0 ? 1 : n);
  if (p == nullptr) throw std::bad_alloc();
  if (heap.counting.load(std::memory_order_relaxed)) {
    ++heap.allocations;
    heap.live += static_cast<int64_t>(malloc_usable_size(p));
    if (heap.live > heap.peak) heap.peak = heap.live;
  }
  return p;
}
void countedFree(void* p) {
  if (p == nullptr) return;
  if (heap.counting.load(std::memory_order_relaxed))
    heap.live -= static_cast<int64_t>(malloc_usable_size(p));
  std::free(p);
}

struct HeapCount {
  uint64_t allocations = 0;
  int64_t peakBytes = 0;  // the most heap held at once above the level at the pass's start
};

// Runs pass once on this thread with every operator new and delete counted. Only single-threaded
// passes: the counts are plain integers.
template <typename Pass>
HeapCount countPass(Pass&& pass) {
  heap.allocations = 0;
  heap.live = heap.peak = 0;
  heap.counting = true;
  pass();
  heap.counting = false;
  return HeapCount{heap.allocations, heap.peak};
}
}  // namespace

void* operator new(std::size_t n) { return countedAlloc(n); }
void* operator new[](std::size_t n) { return countedAlloc(n); }
void operator delete(void* p) noexcept { countedFree(p); }
void operator delete[](void* p) noexcept { countedFree(p); }
void operator delete(void* p, std::size_t) noexcept { countedFree(p); }
void operator delete[](void* p, std::size_t) noexcept { countedFree(p); }

namespace {

// 64 MiB; VXTRACE_BENCH_MB chooses another size (small ones for runs under a profiler).
std::size_t traceBytes() {
  const char* mb = std::getenv("VXTRACE_BENCH_MB");
  const long n = mb != nullptr ? std::strtol(mb, nullptr, 10) : 0;
  return (n > 0 ? static_cast<std::size_t>(n) : 64u) << 20;
}

struct Trace {
  std::vector<unsigned char> bytes;  // frames with sync marker, back to back
  std::size_t records = 0;
  std::vector<unsigned char> canBytes;  // the CAN frames (classic and extended) alone
  std::size_t canRecords = 0;
};

bool isCan(const unsigned char* frame) {  // frame at its size field
  const unsigned id = (frame[2] << 8) | frame[3];
  return id == MSGID_CAN || id == MSGID_CAN_EXT;
}

#ifdef VXTRACE_BENCH_WITH_GENERATOR
// The generator's logger session: CAN and CAN FD on four channels with error and sent frames,
// among status, text, padding and wrapper records; cut off once 64 MiB are written.
void fillTrace(Trace& t) {
  vxtrace::gen::TraceOptions options;
  options.records = ~0ULL;
  vxtrace::gen::TraceGenerator generator(options);
  const std::size_t want = traceBytes();
  t.bytes.reserve(want + 70000);
  while (t.bytes.size() < want && generator.next(t.bytes)) ++t.records;
}
#else
// Classic CAN frames of 0 to 8 data bytes on four channels, a few error frames among them,
// time stamps 100 us apart: the shape of a busy vehicle bus.
void fillTrace(Trace& t) {
  const std::size_t want = traceBytes();
  t.bytes.reserve(want + 64);
  uint32_t rng = 12345;
  unsigned long long ts = 1700000000000000ULL;
  while (t.bytes.size() < want) {
    rng = rng * 1664525u + 1013904223u;
    const uint8_t len = static_cast<uint8_t>((rng >> 8) % 9);
    uint8_t data[8];
    for (int i = 0; i < 8; ++i) data[i] = static_cast<uint8_t>(rng >> (i * 3));
    // An error frame carries neither identifier nor data.
    const bool error = (rng >> 24) % 97 == 0;
    CANTraceMessage msg(ts, static_cast<uint8_t>((rng >> 16) & 3),
                        error ? CAN_FRAME_ERROR : CAN_FRAME_STANDARD, error ? 3 : 0,
                        error ? 0 : (rng >> 4) & 0x7FF, data, error ? 0 : len);
    msg.createByteArray(t.bytes, true, true);
    ts += 100;
    ++t.records;
  }
}
#endif

Trace makeTrace() {
  Trace t;
  fillTrace(t);
  // Pick out the CAN frames by walking the sync-marked frames.
  std::size_t pos = 0;
  while (pos + 4 <= t.bytes.size()) {
    const unsigned char* f = t.bytes.data() + pos + 2;
    const std::size_t whole = 4u + ((f[0] << 8) | f[1]);
    if (isCan(f)) {
      t.canBytes.insert(t.canBytes.end(), t.bytes.begin() + pos, t.bytes.begin() + pos + whole);
      ++t.canRecords;
    }
    pos += whole;
  }
  return t;
}

const Trace& trace() {
  static const Trace t = [] {
    MessageBase::registerMessages();
    return makeTrace();
  }();
  return t;
}

double memcpyBytesPerSecond = 0;    // set by BM_Memcpy, which runs first
double encodeRecordsPerSecond = 0;  // set by BM_Encode, which runs before the writer

// Wall-clock time of a benchmark's timed loop, for the ratio to memcpy.
class LoopClock {
 public:
  LoopClock() : start_(std::chrono::steady_clock::now()) {}
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_;
};

void setCounters(benchmark::State& state, const LoopClock& clock, std::size_t bytesPerIteration,
                 std::size_t recordsPerIteration, const HeapCount& counted) {
  const double seconds = clock.seconds();
  const auto iterations = static_cast<int64_t>(state.iterations());
  const double bytes = static_cast<double>(iterations) * static_cast<double>(bytesPerIteration);
  state.SetBytesProcessed(iterations * static_cast<int64_t>(bytesPerIteration));
  state.SetItemsProcessed(iterations * static_cast<int64_t>(recordsPerIteration));
  if (memcpyBytesPerSecond > 0 && seconds > 0)
    state.counters["vs_memcpy"] = bytes / seconds / memcpyBytesPerSecond;
  // From the counted pass, one iteration's worth.
  state.counters["allocs/record"] =
      static_cast<double>(counted.allocations) / static_cast<double>(recordsPerIteration);
}

// A reader whose buffer is the trace itself: getNextMessage() cuts in place, nothing is read.
class InPlaceReader : public TraceMessageBuffer {
 public:
  explicit InPlaceReader(const std::vector<unsigned char>& bytes) : TraceMessageBuffer(-1, 16u) {
    own_ = pbuffer;
    auto* p = const_cast<uint8_t*>(bytes.data());  // only read: frames are handed out in place
    pbuffer = pDataStart = p;
    pDataEnd = p + bytes.size();
    bufferSize = static_cast<unsigned int>(bytes.size());
  }
  ~InPlaceReader() override {
    pbuffer = pDataStart = pDataEnd = own_;
    bufferSize = 16;
  }

 private:
  uint8_t* own_;
};

// A memfd holding the trace, read from its start by each reader.
class MemFile {
 public:
  explicit MemFile(const std::vector<unsigned char>& bytes) {
    fd_ = memfd_create("vxtrace-bench", MFD_CLOEXEC);
    if (fd_ < 0) throw std::runtime_error("memfd_create failed");
    std::size_t done = 0;
    while (done < bytes.size()) {
      ssize_t n = ::write(fd_, bytes.data() + done, bytes.size() - done);
      if (n <= 0) throw std::runtime_error("write to memfd failed");
      done += static_cast<std::size_t>(n);
    }
  }
  ~MemFile() { ::close(fd_); }
  int rewind() const {
    lseek(fd_, 0, SEEK_SET);
    return fd_;
  }

 private:
  int fd_;
};

constexpr unsigned int kReadBuffer = 1u << 20;

void BM_Memcpy(benchmark::State& state) {
  const Trace& t = trace();
  std::vector<unsigned char> dst(t.bytes.size(), 1);  // faulted in before timing
  LoopClock clock;
  for (auto _ : state) {
    std::memcpy(dst.data(), t.bytes.data(), t.bytes.size());
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  memcpyBytesPerSecond = static_cast<double>(state.iterations()) *
                         static_cast<double>(t.bytes.size()) / clock.seconds();
  setCounters(state, clock, t.bytes.size(), t.records, HeapCount{});
  state.counters["records"] = static_cast<double>(t.records);
  state.counters["can_records"] = static_cast<double>(t.canRecords);
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CutInPlace(benchmark::State& state) {
  const Trace& t = trace();
  auto once = [&] {
    InPlaceReader reader(t.bytes);
    reader.reportErrors = false;
    uint8_t* begin;
    uint8_t* end;
    std::size_t n = 0;
    while (reader.getNextMessage(begin, end)) ++n;
    if (n != t.records) state.SkipWithError("wrong number of frames");
    benchmark::DoNotOptimize(n);
  };
  const HeapCount counted = countPass(once);
  LoopClock clock;
  for (auto _ : state) once();
  setCounters(state, clock, t.bytes.size(), t.records, counted);
}
BENCHMARK(BM_CutInPlace)->Unit(benchmark::kMillisecond)->UseRealTime();

// Reads and cuts; the shape of an application loop.
template <typename Take>
std::size_t readAll(TraceMessageBuffer& reader, Take take) {
  std::size_t n = 0;
  for (;;) {
    const int r = reader.read();
    n += take(reader);
    if (r <= 0) break;
  }
  return n;
}

void BM_CutFromMemfd(benchmark::State& state) {
  const Trace& t = trace();
  MemFile file(t.bytes);
  auto once = [&] {
    TraceMessageBuffer reader(file.rewind(), kReadBuffer);
    reader.reportErrors = false;
    std::size_t n = readAll(reader, [](TraceMessageBuffer& r) {
      uint8_t* begin;
      uint8_t* end;
      std::size_t k = 0;
      while (r.getNextMessage(begin, end)) ++k;
      return k;
    });
    if (n != t.records) state.SkipWithError("wrong number of frames");
  };
  const HeapCount counted = countPass(once);
  LoopClock clock;
  for (auto _ : state) once();
  setCounters(state, clock, t.bytes.size(), t.records, counted);
}
BENCHMARK(BM_CutFromMemfd)->Unit(benchmark::kMillisecond)->UseRealTime();

void decodeFromMemfd(benchmark::State& state, const std::vector<unsigned char>& bytes,
                     std::size_t records) {
  MemFile file(bytes);
  auto once = [&] {
    TraceMessageBuffer reader(file.rewind(), kReadBuffer);
    reader.reportErrors = false;
    std::size_t n = readAll(reader, [](TraceMessageBuffer& r) {
      std::size_t k = 0;
      while (std::unique_ptr<MessageBase> msg{r.getNextMessage()}) {
        benchmark::DoNotOptimize(msg.get());
        ++k;
      }
      return k;
    });
    if (n != records) state.SkipWithError("wrong number of records");
  };
  const HeapCount counted = countPass(once);
  LoopClock clock;
  for (auto _ : state) once();
  setCounters(state, clock, bytes.size(), records, counted);
  state.counters["peak_heap_KiB"] = static_cast<double>(counted.peakBytes) / 1024.0;
}

void BM_DecodeFromMemfd(benchmark::State& state) {
  decodeFromMemfd(state, trace().bytes, trace().records);
}
BENCHMARK(BM_DecodeFromMemfd)->Unit(benchmark::kMillisecond)->UseRealTime();

// The validating reader on the same clean trace: compare with BM_DecodeFromMemfd of the run.
void BM_RecoverFromMemfd(benchmark::State& state) {
  const Trace& t = trace();
  MemFile file(t.bytes);
  auto once = [&] {
    // As the tool reads: the framing probed, a flush hook on every wait.
    TraceFileReader reader(file.rewind());
    reader.setFraming(reader.probeFraming());
    reader.setWaitHandler([] {});
    std::size_t n = 0;
    while (std::unique_ptr<MessageBase> msg{reader.next()}) {
      benchmark::DoNotOptimize(msg.get());
      ++n;
    }
    if (n != t.records) state.SkipWithError("wrong number of records");
  };
  const HeapCount counted = countPass(once);
  LoopClock clock;
  for (auto _ : state) once();
  setCounters(state, clock, t.bytes.size(), t.records, counted);
}
BENCHMARK(BM_RecoverFromMemfd)->Unit(benchmark::kMillisecond)->UseRealTime();

// The CAN records of the trace alone.
void BM_DecodeCanFromMemfd(benchmark::State& state) {
  decodeFromMemfd(state, trace().canBytes, trace().canRecords);
}
BENCHMARK(BM_DecodeCanFromMemfd)->Unit(benchmark::kMillisecond)->UseRealTime();

// The CAN records of the trace as objects, for encoding and printing.
const std::vector<std::unique_ptr<MessageBase>>& canRecords() {
  static const std::vector<std::unique_ptr<MessageBase>> all = [] {
    std::vector<std::unique_ptr<MessageBase>> v;
    const Trace& t = trace();
    v.reserve(t.canRecords);
    InPlaceReader reader(t.canBytes);
    uint8_t* begin;
    uint8_t* end;
    while (reader.getNextMessage(begin, end)) {
      v.emplace_back(MessageBase::readFromByteArray(begin, static_cast<unsigned int>(end - begin)));
    }
    return v;
  }();
  return all;
}

void BM_Encode(benchmark::State& state) {
  const Trace& t = trace();
  const auto& all = canRecords();
  std::vector<unsigned char> out;
  out.reserve(t.canBytes.size());
  auto once = [&] {
    out.clear();
    for (const auto& msg : all) msg->createByteArray(out, true, true);
    benchmark::DoNotOptimize(out.data());
  };
  const HeapCount counted = countPass(once);
  LoopClock clock;
  for (auto _ : state) once();
  if (out != t.canBytes) state.SkipWithError("encoding differs from the trace");
  encodeRecordsPerSecond =
      static_cast<double>(state.iterations()) * static_cast<double>(t.canRecords) / clock.seconds();
  setCounters(state, clock, t.canBytes.size(), t.canRecords, counted);
}
BENCHMARK(BM_Encode)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Print(benchmark::State& state) {
  const Trace& t = trace();
  const auto& all = canRecords();
  std::size_t chars = 0;
  auto once = [&] {
    chars = 0;
    for (const auto& msg : all) chars += msg->toString().size();
    benchmark::DoNotOptimize(chars);
  };
  const HeapCount counted = countPass(once);
  LoopClock clock;
  for (auto _ : state) once();
  setCounters(state, clock, t.canBytes.size(), t.canRecords, counted);
  state.counters["chars/record"] = static_cast<double>(chars) / static_cast<double>(t.canRecords);
  state.counters["lines/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * static_cast<double>(t.canRecords),
      benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Print)->Unit(benchmark::kMillisecond)->UseRealTime();

// Scratch files of the writer and seek benchmarks: in memory where /dev/shm exists, so that the
// disk does not set the rate.
std::string scratchPath(const char* name) {
  const std::filesystem::path dir =
      std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::current_path();
  return (dir / (std::string(name) + "-" + std::to_string(::getpid()))).string();
}

// The CAN records through TraceFileWriter into a file (page cache), one record a call, beside
// BM_Encode of the same run ("vs_encode": records/s divided by the encoding rate).
void writeRecords(benchmark::State& state, vxtrace::TraceFileWriterOptions::Containers containers) {
  const Trace& t = trace();
  const auto& all = canRecords();
  vxtrace::TraceFileWriterOptions options;
  options.containers = containers;
  options.pattern = scratchPath("vxtrace-bench-write");
  options.existing = vxtrace::TraceFileWriterOptions::Existing::Replace;
  uint64_t bytes = 0;
  auto once = [&] {
    vxtrace::TraceFileWriter writer(options);
    for (const auto& msg : all) writer.write(*msg);
    writer.close();
    if (writer.recordsFlushed() != all.size()) state.SkipWithError("records missing");
    bytes = std::filesystem::file_size(options.pattern);
  };
  const HeapCount counted = countPass(once);
  LoopClock clock;
  for (auto _ : state) once();
  const double perSecond =
      static_cast<double>(state.iterations()) * static_cast<double>(all.size()) / clock.seconds();
  setCounters(state, clock, t.canBytes.size(), t.canRecords, counted);
  if (encodeRecordsPerSecond > 0) state.counters["vs_encode"] = perSecond / encodeRecordsPerSecond;
  state.counters["file_vs_frames"] =
      static_cast<double>(bytes) / static_cast<double>(t.canBytes.size());
  std::filesystem::remove(options.pattern);
}

void BM_WritePlain(benchmark::State& state) {
  writeRecords(state, vxtrace::TraceFileWriterOptions::Containers::None);
}
BENCHMARK(BM_WritePlain)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_WriteLz4Containers(benchmark::State& state) {
  writeRecords(state, vxtrace::TraceFileWriterOptions::Containers::Lz4);
}
BENCHMARK(BM_WriteLz4Containers)->Unit(benchmark::kMillisecond)->UseRealTime();

// Finding the last second of a 1 GiB trace (VXTRACE_BENCH_SEEK_MB sets another size): the CAN
// records again and again, each copy's time stamps moved past the last one's. "read_fraction"
// is the share of the file the seek read.
void BM_SeekLastSecond(benchmark::State& state) {
  const Trace& t = trace();
  const char* mb = std::getenv("VXTRACE_BENCH_SEEK_MB");
  const long n = mb != nullptr ? std::strtol(mb, nullptr, 10) : 0;
  const uint64_t want = static_cast<uint64_t>(n > 0 ? n : 1024) << 20;
  const std::string path = scratchPath("vxtrace-bench-seek");
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) {
    state.SkipWithError("cannot create the trace");
    return;
  }
  const std::vector<unsigned char>& original = t.canBytes;
  std::vector<unsigned char> copy = original;
  auto timeAt = [&](std::size_t pos) {  // pos: the frame's marker
    uint64_t ts = 0;
    for (int i = 0; i < 8; ++i) ts = ts << 8 | original[pos + 8 + i];
    return ts;
  };
  std::vector<std::size_t> frames;
  uint64_t latest = 0;
  for (std::size_t pos = 0; pos + 4 <= original.size();
       pos += 4u + ((original[pos + 2] << 8) | original[pos + 3])) {
    frames.push_back(pos);
    latest = std::max(latest, timeAt(pos));
  }
  const uint64_t span = latest - timeAt(0) + 100;
  uint64_t size = 0, last = 0;
  for (uint64_t k = 0; size < want; ++k, size += copy.size()) {
    for (std::size_t pos : frames) {
      last = timeAt(pos) + k * span;
      for (int i = 0; i < 8; ++i)
        copy[pos + 8 + i] = static_cast<unsigned char>(last >> (56 - 8 * i));
    }
    if (::write(fd, copy.data(), copy.size()) != static_cast<ssize_t>(copy.size())) {
      state.SkipWithError("cannot write the trace");
      break;
    }
  }
  vxtrace::SeekResult r;
  for (auto _ : state) r = vxtrace::seekTime(fd, TraceFileReader::FRAMING_V1, last - 1000000);
  state.counters["read_fraction"] =
      static_cast<double>(r.bytesRead) / static_cast<double>(r.fileSize);
  state.counters["file_MiB"] = static_cast<double>(r.fileSize) / (1 << 20);
  state.counters["probes"] = r.probes;
  if (!r.bisected) state.SkipWithError("the seek did not bisect");
  ::close(fd);
  ::unlink(path.c_str());
}
BENCHMARK(BM_SeekLastSecond)->Unit(benchmark::kMillisecond)->UseRealTime();
// ---- stats of a large trace on every core ----------------------------------------------------
// The trace above repeated to 500 MiB (VXTRACE_BENCH_SCAN_MB chooses another size) in a memfd.
// Stats as `vxtrace stats` counts them (containers expanded, undecodable frames as records),
// by one Reader from the front, and by scanStats with 1 and 2 threads. Counters: "vs_reader"
// (the rate divided by the one-reader rate of the run), "vs_1_thread", and "process_cpu_s", the
// CPU time of all threads per iteration: on a machine busy with other work the wall-clock
// ratio says little, while 1-thread CPU time over 2-thread CPU time, times two, bounds what two
// idle cores give.
class BigFile {
 public:
  BigFile() {
    const char* mb = std::getenv("VXTRACE_BENCH_SCAN_MB");
    const long n = mb != nullptr ? std::strtol(mb, nullptr, 10) : 0;
    const std::size_t want = (n > 0 ? static_cast<std::size_t>(n) : 500u) << 20;
    const Trace& t = trace();
    fd_ = memfd_create("vxtrace-bench-scan", MFD_CLOEXEC);
    if (fd_ < 0) throw std::runtime_error("memfd_create failed");
    while (size_ < want) {
      for (std::size_t done = 0; done < t.bytes.size();) {
        const ssize_t w = ::write(fd_, t.bytes.data() + done, t.bytes.size() - done);
        if (w <= 0) throw std::runtime_error("write to memfd failed");
        done += static_cast<std::size_t>(w);
      }
      size_ += t.bytes.size();
      records_ += t.records;
    }
  }
  ~BigFile() { ::close(fd_); }
  int fd() const { return fd_; }
  std::size_t size() const { return size_; }
  std::size_t records() const { return records_; }

 private:
  int fd_ = -1;
  std::size_t size_ = 0, records_ = 0;
};

const BigFile& bigFile() {
  static const BigFile f;
  return f;
}

vxtrace::ReadPolicy statsPolicy() {
  vxtrace::ReadPolicy p;
  p.expandContainers = true;
  p.invalidRecords = true;
  return p;
}

double readerStatsRate = 0, oneThreadStatsRate = 0;

double processCpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

void BM_StatsOneReader(benchmark::State& state) {
  const BigFile& f = bigFile();
  const double cpu0 = processCpuSeconds();
  LoopClock clock;
  for (auto _ : state) {
    lseek(f.fd(), 0, SEEK_SET);
    vxtrace::Reader r(vxtrace::Source::descriptor(f.fd()), statsPolicy());
    vxtrace::Stats stats;
    while (auto msg = r.next()) stats.add(*msg, r.depth() > 0);
    stats.setReaderCounts(r.counts());
    if (r.counts().records != f.records()) state.SkipWithError("wrong number of records");
  }
  readerStatsRate = static_cast<double>(state.iterations()) / clock.seconds();
  setCounters(state, clock, f.size(), f.records(), HeapCount{});
  state.counters["process_cpu_s"] = (processCpuSeconds() - cpu0) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_StatsOneReader)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_StatsScan(benchmark::State& state) {
  const BigFile& f = bigFile();
  vxtrace::ScanOptions options;
  options.threads = static_cast<unsigned>(state.range(0));
  const double cpu0 = processCpuSeconds();
  LoopClock clock;
  for (auto _ : state) {
    vxtrace::ScanSummary summary;
    const vxtrace::Stats stats =
        vxtrace::scanStats(vxtrace::Source::descriptor(f.fd()), statsPolicy(), options, &summary);
    if (stats.readerCounts().records != f.records()) state.SkipWithError("wrong number of records");
    state.counters["parts"] = static_cast<double>(summary.parts);
  }
  const double rate = static_cast<double>(state.iterations()) / clock.seconds();
  if (options.threads == 1) oneThreadStatsRate = rate;
  setCounters(state, clock, f.size(), f.records(), HeapCount{});
  if (readerStatsRate > 0) state.counters["vs_reader"] = rate / readerStatsRate;
  if (oneThreadStatsRate > 0) state.counters["vs_1_thread"] = rate / oneThreadStatsRate;
  state.counters["process_cpu_s"] = (processCpuSeconds() - cpu0) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_StatsScan)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
