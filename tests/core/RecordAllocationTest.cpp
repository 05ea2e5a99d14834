#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "vxtrace/vxtrace.h"

// Records of a producer thread deleted by a consumer while the producer goes on making more:
// every record reads back as made, whichever thread's free blocks it came from.
TEST(RecordAllocation, RecordsFreedOnAnotherThreadStayIntact) {
  constexpr unsigned kRecords = 20000;
  std::vector<std::unique_ptr<MessageBase>> queue;
  std::mutex m;
  std::thread producer([&] {
    for (unsigned i = 0; i < kRecords; ++i) {
      const uint8_t data[8] = {static_cast<uint8_t>(i), 2, 3, 4, 5, 6, 7, 8};
      std::unique_ptr<MessageBase> a(
          new CANTraceMessage(i, 1, CAN_FRAME_STANDARD, 0, i & 0x7FF, data, 8));
      std::unique_ptr<MessageBase> b(new MarkerMessage(i, 1, i));
      std::lock_guard<std::mutex> lock(m);
      queue.push_back(std::move(a));
      queue.push_back(std::move(b));
    }
  });
  unsigned seen = 0;
  while (seen < 2 * kRecords) {
    std::vector<std::unique_ptr<MessageBase>> taken;
    {
      std::lock_guard<std::mutex> lock(m);
      taken.swap(queue);
    }
    for (auto& r : taken) {
      const unsigned i = seen++ / 2;
      ASSERT_EQ(r->timeStamp, i);
      if (auto* can = dynamic_cast<CANTraceMessage*>(r.get())) {
        ASSERT_EQ(can->id, i & 0x7FF);
        ASSERT_EQ(can->data[0], static_cast<uint8_t>(i));
      }
      r.reset(new SimpleMessage<MSGID_START>(i));  // reuses a block of another size
    }
  }
  producer.join();
}
