#pragma once
// Deterministic synthetic traces: a logger session with CAN and CAN FD traffic on four channels
// (periodic frames at realistic rates with jitter, error frames, frames the logger sent), the
// session's status and text records, file time, padding, wrapped data and the end-of-file record.
// The same options give the same bytes on every host and every run.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <queue>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

namespace vxtrace::gen {

enum class Framing {
  V1,  // 55 AA, then the frame from its size field
  V2   // 'Z', record type, 16-bit big-endian length L, then L bytes (the frame)
};

// Record type byte of a V2 record that carries one trace frame.
constexpr uint8_t kV2TraceFrame = 0x00;

struct TraceOptions {
  uint64_t records = 10000;  // records in the trace, end-of-file record included
  uint64_t seed = 1;
  Framing framing = Framing::V1;
  // Time stamp of the first record, microseconds since the epoch (2024-03-14 09:26:53 UTC).
  unsigned long long startTime = 1710408413000000ULL;
};

// Appends one record in the given framing. Returns false (out unchanged) when the record cannot
// be serialised.
bool appendFramed(std::vector<uint8_t>& out, const MessageBase& msg, Framing framing);

// CRC-32 (IEEE 802.3, reflected, as zlib computes it) continued from crc; start with 0.
uint32_t crc32(uint32_t crc, const uint8_t* data, std::size_t length);

class TraceGenerator {
 public:
  explicit TraceGenerator(const TraceOptions& options);
  ~TraceGenerator();
  TraceGenerator(const TraceGenerator&) = delete;
  TraceGenerator& operator=(const TraceGenerator&) = delete;

  // Appends the next record in the options' framing to out and returns true; false once all
  // records were produced. When record is given it receives the record (owned by the caller).
  // The end-of-file record carries the CRC-32 of every byte produced before it.
  bool next(std::vector<uint8_t>& out, std::unique_ptr<MessageBase>* record = nullptr);

  uint64_t produced() const { return produced_; }
  uint64_t total() const { return options_.records; }

 private:
  struct Rng {
    uint64_t state;
    uint64_t next();
    uint32_t below(uint32_t n);  // uniform in [0, n)
    bool chance(uint32_t perMille) { return below(1000) < perMille; }
  };
  struct Source;  // one periodic or sporadic stream of records
  struct Due {
    unsigned long long time;
    uint32_t source;
    bool operator>(const Due& o) const {
      return time != o.time ? time > o.time : source > o.source;
    }
  };

  std::unique_ptr<MessageBase> makeHeader(uint64_t index, unsigned long long ts);
  std::unique_ptr<MessageBase> makeFooter(uint64_t index, unsigned long long ts);
  std::unique_ptr<MessageBase> makeBody();
  std::unique_ptr<MessageBase> makeFromSource(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeCanFrame(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeErrorFrame(Source& s, unsigned long long ts);
  void fillPayload(Source& s, uint8_t* data, unsigned int length);

  TraceOptions options_;
  Rng rng_;
  std::vector<Source> sources_;
  std::priority_queue<Due, std::vector<Due>, std::greater<Due>> queue_;
  uint64_t produced_ = 0;
  uint64_t headerCount_ = 0;
  uint64_t footerCount_ = 0;
  unsigned long long now_ = 0;
  uint32_t crc_ = 0;
  std::vector<std::unique_ptr<MessageBase>> remote_;
};

// A client's session with the logger over the remote-control protocol, as request and response
// records from startTime on (microseconds): version query, event list, setting the clock, a
// firmware update reporting its progress, and a request the logger answers with an error.
std::vector<std::unique_ptr<MessageBase>> remoteExchange(unsigned long long startTime);

// The whole trace in memory (for fuzz corpora and tests).
std::vector<uint8_t> generateTrace(const TraceOptions& options);

}  // namespace vxtrace::gen
