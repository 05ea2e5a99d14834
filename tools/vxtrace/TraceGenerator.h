#pragma once
// Deterministic synthetic traces: a logger session with CAN and CAN FD traffic on four channels
// (periodic frames at realistic rates with jitter, error frames, frames the logger sent, XCP and
// CCP calibration traffic), a LIN schedule table at 19.2 kbit/s, FlexRay static-segment frames
// every cycle, raw Ethernet frames (ARP, IPv4/UDP with real checksums, some VLAN-tagged, some
// sent by the logger), MOST control and asynchronous traffic on one ring, CAN load, proxy and start/stop records, front-panel keys, cascade sync,
// APIX link and ECL line events, ECU-protocol log lines, two TTY consoles, the session's status
// and text records, the logger's reports about itself (time every second, bus load per channel,
// a decoded signal, system reports, lost data, PHY state and rarer events), markers, meta
// information, file time, padding, wrapped data and the end-of-file record; optionally with the
// bus records bundled in containers. No CAN transport record: its time stamp does not survive the
// round trip, so a trace holding one would lose its time order. The same options give the same
// bytes on every host and every run.
#include <cstddef>
#include <cstdint>
#include <deque>
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

// How bus records (CAN and CAN FD) are written: one frame each, or bundled as a logger does in
// containers of up to kContainerRecords consecutive bus records, stored plain or compressed.
enum class Containers { None, Plain, Lz4 };
constexpr std::size_t kContainerRecords = 64;

// Record type byte of a V2 record that carries one trace frame.
constexpr uint8_t kV2TraceFrame = 0x00;

struct TraceOptions {
  uint64_t records = 10000;  // records in the trace, end-of-file record included
  uint64_t seed = 1;
  Framing framing = Framing::V1;
  Containers containers = Containers::None;
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
  // The end-of-file record carries the CRC-32 of every byte produced before it. With containers
  // the appended record may be a container; records counts the records inside it.
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

  // The next record of the trace, or null once all were produced.
  std::unique_ptr<MessageBase> produce();
  std::unique_ptr<MessageBase> makeHeader(uint64_t index, unsigned long long ts);
  std::unique_ptr<MessageBase> makeFooter(uint64_t index, unsigned long long ts);
  std::unique_ptr<MessageBase> makeBody();
  std::unique_ptr<MessageBase> makeFromSource(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeStatus(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeInputRecord(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeCanFrame(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeErrorFrame(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeLinFrame(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeFlexRayFrame(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeEthernetFrame(Source& s, unsigned long long ts);
  std::unique_ptr<MessageBase> makeMost(Source& s, unsigned long long ts);
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
  std::vector<std::unique_ptr<MessageBase>> xcpRecords_, ccpRecords_;
  std::unique_ptr<MessageBase> held_;                 // produced, ends a container, written next
  std::deque<std::unique_ptr<MessageBase>> pending_;  // made together, written one by one
  std::vector<std::unique_ptr<MessageBase>> remote_;
};

// A client's session with the logger over the remote-control protocol, as request and response
// records from startTime on (microseconds): version query, event list, setting the clock, a
// firmware update reporting its progress, and a request the logger answers with an error.
std::vector<std::unique_ptr<MessageBase>> remoteExchange(unsigned long long startTime);

// The whole trace in memory (for fuzz corpora and tests).
std::vector<uint8_t> generateTrace(const TraceOptions& options);

// A scripted calibration and diagnostic session, one record a millisecond from startTime: XCP on
// CAN (connect, status, upload, a refused command, DAQ lists with time stamps, an event), XCP on
// Ethernet, a CCP exchange, and UDS and KWP2000 requests with their responses.
std::vector<std::unique_ptr<MessageBase>> diagnosticSession(unsigned long long startTime);

// That session in the given framing, closed by an end-of-file record carrying the CRC-32 of
// every byte before it.
std::vector<uint8_t> generateDiagnosticTrace(unsigned long long startTime, Framing framing);

}  // namespace vxtrace::gen
