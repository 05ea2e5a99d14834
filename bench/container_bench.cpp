// Containers on generated CAN traffic: the generator's logger session with its bus records
// bundled 64 at a time, as a logger writes them. Reports the compression ratio (uncompressed
// block bytes / compressed block bytes) and the rate of decompressing and decoding the
// containers (records/s, and bytes/s of the uncompressed frames), beside LZ4's own
// decompression of the same blocks in the same run ("vs_lz4": the share of the time the bare
// codec takes) and decoding of the same frames from a plain buffer, one record at a time
// ("vs_plain": the share of the time the records' own decoding and freeing take). What neither
// explains ("beyond": 1 - vs_lz4 - vs_plain) is the container's own cost. VXTRACE_BENCH_MB sets
// the amount of traffic (default 16 MiB of frames). The timed loops are functions of their own,
// so that a profiler can count only them (callgrind --toggle-collect='*decodeContainers*').
#ifdef VXTRACE_BENCH_WITH_GENERATOR
#include <benchmark/benchmark.h>
#include <lz4.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "TraceGenerator.h"
#include "vxtrace/ContainerMessage.h"
#include "vxtrace/XMatchPro.h"

namespace {

struct Containers {
  std::vector<std::unique_ptr<ContainerMessage>> all;
  std::size_t records = 0;
  std::size_t plainBytes = 0;       // uncompressed blocks: the contained frames
  std::size_t compressedBytes = 0;  // their compressed blocks
  std::vector<uint8_t> plain;       // the uncompressed blocks end to end
};

const Containers& containers() {
  static const Containers c = [] {
    Containers built;
    const char* mb = std::getenv("VXTRACE_BENCH_MB");
    const long n = mb != nullptr ? std::strtol(mb, nullptr, 10) : 0;
    const std::size_t want = static_cast<std::size_t>(n > 0 ? n : 16) << 20;
    MessageBase::registerMessages();
    vxtrace::gen::TraceOptions options;
    options.records = ~0ULL;
    options.containers = vxtrace::gen::Containers::Lz4;
    vxtrace::gen::TraceGenerator generator(options);
    std::vector<uint8_t> sink;
    std::unique_ptr<MessageBase> rec;
    while (built.plainBytes < want && generator.next(sink, &rec)) {
      sink.clear();
      if (rec->msgId != MSGID_CONTAINER) continue;
      auto* one = static_cast<ContainerMessage*>(rec.release());
      built.records += one->numOfMsg;
      built.plainBytes += one->blockSize;
      built.compressedBytes += one->data.size();
      one->messages.clear();
      const std::size_t at = built.plain.size();
      built.plain.resize(at + one->blockSize);
      if (LZ4_decompress_safe(reinterpret_cast<const char*>(one->data.data()),
                              reinterpret_cast<char*>(built.plain.data() + at),
                              static_cast<int>(one->data.size()), one->blockSize) != one->blockSize)
        std::abort();
      built.all.emplace_back(one);
    }
    return built;
  }();
  return c;
}

void report(benchmark::State& state, const Containers& c, double seconds) {
  const double iterations = static_cast<double>(state.iterations());
  state.counters["records/s"] = c.records * iterations / seconds;
  state.counters["MB/s"] = c.plainBytes * iterations / seconds / 1e6;
  state.counters["ratio"] = static_cast<double>(c.plainBytes) / c.compressedBytes;
}

double lz4Seconds(const Containers& c) {
  std::vector<char> out(0x10000);
  const auto start = std::chrono::steady_clock::now();
  for (const auto& m : c.all) {
    const int got = LZ4_decompress_safe(reinterpret_cast<const char*>(m->data.data()), out.data(),
                                        static_cast<int>(m->data.size()), m->blockSize);
    benchmark::DoNotOptimize(got);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Decodes the frames of the plain buffer as a reader over a plain trace hands them out: each
// record is freed before the next is decoded. A container holds all its records at once, which
// costs more than it seems: the allocator's per-thread cache keeps only a few blocks of a size,
// so freeing a container's records and allocating the next ones take its slow paths. That cost
// counts as the container's ("beyond"). Returns the records decoded.
__attribute__((noinline)) std::size_t decodePlain(const Containers& c) {
  std::size_t decoded = 0;
  const uint8_t* frame = c.plain.data();
  const uint8_t* const end = frame + c.plain.size();
  while (frame < end) {
    const unsigned int size = static_cast<unsigned int>(frame[2]) << 8 | frame[3];
    const std::unique_ptr<MessageBase> m(MessageBase::readFromByteArray(frame + 2, size + 2));
    decoded += m != nullptr;
    frame += 4 + size;
  }
  return decoded;
}

double plainSeconds(const Containers& c, std::size_t* decoded) {
  const auto start = std::chrono::steady_clock::now();
  *decoded += decodePlain(c);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

__attribute__((noinline)) std::size_t decodeContainers(const Containers& c) {
  std::size_t decoded = 0;
  for (const auto& m : c.all) {
    m->decompress(m->numOfMsg, m->data.data(), static_cast<unsigned int>(m->data.size()));
    decoded += m->messages.size();
    m->messages.clear();
  }
  return decoded;
}

void BM_ContainerLz4Only(benchmark::State& state) {
  const Containers& c = containers();
  double seconds = 0;
  for (auto _ : state) seconds += lz4Seconds(c);
  report(state, c, seconds);
}
BENCHMARK(BM_ContainerLz4Only)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ContainerPlainDecode(benchmark::State& state) {
  const Containers& c = containers();
  double seconds = 0;
  std::size_t decoded = 0;
  for (auto _ : state) seconds += plainSeconds(c, &decoded);
  if (decoded != c.records * state.iterations()) state.SkipWithError("records lost");
  report(state, c, seconds);
}
BENCHMARK(BM_ContainerPlainDecode)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ContainerDecompressDecode(benchmark::State& state) {
  const Containers& c = containers();
  double seconds = 0, lz4 = 0, plain = 0;
  std::size_t decoded = 0, plainDecoded = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    decoded += decodeContainers(c);
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    state.PauseTiming();
    lz4 += lz4Seconds(c);
    plain += plainSeconds(c, &plainDecoded);
    state.ResumeTiming();
  }
  if (decoded != c.records * state.iterations() || plainDecoded != decoded)
    state.SkipWithError("records lost");
  report(state, c, seconds);
  state.counters["vs_lz4"] = lz4 / seconds;
  state.counters["vs_plain"] = plain / seconds;
  state.counters["beyond"] = 1 - (lz4 + plain) / seconds;
}
BENCHMARK(BM_ContainerDecompressDecode)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
#endif
