#pragma once
// Records numbered by their data, and a trace file read back with its containers opened.
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

namespace vxtest {

constexpr unsigned long long kT0 = 1700000000000000ULL;  // 2023-11-14 22:13:20 UTC

// Record i: time kT0 + i * stepUs, its number in the data bytes.
inline CANTraceMessage numbered(uint64_t i, uint64_t stepUs = 100000) {
  Bytes data(8);
  for (int k = 0; k < 8; ++k) data[k] = static_cast<uint8_t>(i >> (56 - 8 * k));
  return CANTraceMessage(kT0 + i * stepUs, 0, CAN_FRAME_STANDARD, 0, i & 0x7FF, data);
}

struct ReadBack {
  std::vector<std::unique_ptr<MessageBase>> records;  // the CAN records, containers opened
  std::vector<std::unique_ptr<MessageBase>> top;      // as in the file
  std::vector<TraceFileReader::loss_t> losses;
  std::vector<uint64_t> starts, ends;  // offsets of each top-level record
  int compressed = 0;
};

inline ReadBack readBack(const std::string& path, TraceFileReader::framing_t framing) {
  ReadBack r;
  const int fd = ::open(path.c_str(), O_RDONLY);
  TraceFileReader reader(fd, framing);
  reader.setLossHandler([&](const TraceFileReader::loss_t& l) { r.losses.push_back(l); });
  while (MessageBase* msg = reader.next()) {
    r.top.emplace_back(msg);
    r.starts.push_back(reader.recordOffset());
    r.ends.push_back(reader.recordOffset() + reader.recordLength());
    if (msg->msgId == MSGID_CAN) r.records.emplace_back(msg->clone());
    if (msg->msgId != MSGID_CONTAINER) continue;
    auto* c = static_cast<ContainerMessage*>(msg);
    r.compressed += c->compression;
    c->decompress(c->numOfMsg, c->data.data(), static_cast<unsigned>(c->data.size()));
    for (auto& m : c->messages) r.records.push_back(std::move(m));
  }
  ::close(fd);
  return r;
}

}  // namespace vxtest
