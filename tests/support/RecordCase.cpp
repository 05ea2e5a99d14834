#include "support/RecordCase.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/DirtyStream.h"
#include "support/RecordSupport.h"
#include "support/TestSupport.h"
#include "vxtrace/InvalidMessage.h"

namespace vxtest {

Bytes caseFrame(const RecordCase& c) {
  return vxtest::frame(c.id, kCaseTs, hex(c.body), kCaseHeaderWord);
}

void checkRecordCase(const RecordCase& c) {
  SCOPED_TRACE(testing::Message() << "identifier " << c.id << " body " << c.body);
  const Bytes frame = caseFrame(c);
  const int savedHandling = MessageBase::invalidHandling;
  struct Restore {
    int h;
    ~Restore() { MessageBase::invalidHandling = h; }
  } restore{savedHandling};

  MessageBase::invalidHandling = 1;
  if (c.outcome == kThrows) {
    EXPECT_ANY_THROW(decodeExact(frame, frame.size()));
    return;
  }
  if (c.outcome == kNull) {
    EXPECT_EQ(decodeExact(frame, frame.size()), nullptr);
    MessageBase::invalidHandling = 6;
    EXPECT_EQ(decodeExact(frame, frame.size()), nullptr);
    return;
  }
  std::unique_ptr<MessageBase> msg = decodeExact(frame, frame.size());
  ASSERT_NE(msg, nullptr);
  auto* invalid = dynamic_cast<InvalidMessage*>(msg.get());
  if (c.outcome != kDecodes) {
    ASSERT_NE(invalid, nullptr) << msg->toString();
    EXPECT_EQ(invalid->cause, c.outcome);
    if (c.line != nullptr) {
      EXPECT_EQ(msg->toString(), c.line);
    }
    MessageBase::invalidHandling = 6;
    EXPECT_EQ(decodeExact(frame, frame.size()), nullptr);
    return;
  }
  ASSERT_EQ(invalid, nullptr) << msg->toString();

  const std::string line = msg->toString();
  EXPECT_EQ(line, c.line);
  EXPECT_EQ(static_cast<int>(msg->getSize()), c.size);
  for (bool upper : {false, true}) {
    const DirtyPrint dirty = printDirty(*msg, upper);
    if (upper) {
      EXPECT_TRUE(equalIgnoringCase(dirty.text, line)) << dirty.text;
    } else {
      EXPECT_EQ(dirty.text, line);
    }
    EXPECT_TRUE(dirty.restored);
  }

  const unsigned int size = msg->getSize();
  if (c.written == nullptr || *c.written != '\0') {
    const Bytes expected = c.written == nullptr ? frame : hex(c.written);
    EXPECT_EQ(expected.size(), size + 2);
    EXPECT_EQ(toHex(serialise(*msg)), toHex(expected));
    // The exact room takes the frame, marker included; one byte less is refused untouched.
    const Written fits = writeInto(*msg, size + 4, true);
    EXPECT_NE(fits.result, 0u);
    EXPECT_TRUE(fits.canaryIntact);
    EXPECT_EQ(toHex(Bytes(fits.bytes.begin() + 2, fits.bytes.end())), toHex(expected));
    const Written tight = writeInto(*msg, size + 1, false);
    EXPECT_EQ(tight.result, 0u);
    EXPECT_EQ(tight.advanced, 0);
    EXPECT_EQ(std::count(tight.bytes.begin(), tight.bytes.end(), 0xEE),
              static_cast<std::ptrdiff_t>(tight.bytes.size()));
  }

  std::unique_ptr<MessageBase> copy(msg->clone());
  EXPECT_EQ(copy->toString(), line);
  EXPECT_EQ(copy->headerWord, msg->headerWord);
  EXPECT_EQ(*copy == *msg, c.selfEqual);
  EXPECT_EQ(copy->getSourceChannelID(), msg->getSourceChannelID());
}

}  // namespace vxtest
