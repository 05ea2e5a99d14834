#include "support/RecordCase.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/DirtyStream.h"
#include "vxtrace/InvalidMessage.h"

namespace vxtest {

Bytes caseFrame(const RecordCase& c) {
  return vxtest::frame(c.id, kCaseTs, hex(c.body), kCaseHeaderWord);
}

void checkRecordCase(const RecordCase& c) {
  SCOPED_TRACE(testing::Message() << "identifier " << c.id << " body " << c.body);
  const Bytes frame = caseFrame(c);
  const std::size_t given = frame.size() - c.cut;
  const int savedHandling = MessageBase::invalidHandling;
  struct Restore {
    int h;
    ~Restore() { MessageBase::invalidHandling = h; }
  } restore{savedHandling};

  MessageBase::invalidHandling = 1;
  if (c.outcome == kThrows) {
    EXPECT_ANY_THROW(decodeExact(frame, given));
    return;
  }
  if (c.outcome == kNull) {
    for (int handling : {1, 6}) {
      MessageBase::invalidHandling = handling;
      EXPECT_EQ(decodeExact(frame, given), nullptr) << "handling " << handling;
    }
    return;
  }
  std::unique_ptr<MessageBase> msg = decodeExact(frame, given);
  ASSERT_NE(msg, nullptr);
  auto* invalid = dynamic_cast<InvalidMessage*>(msg.get());
  if (c.outcome != kDecodes) {
    ASSERT_NE(invalid, nullptr) << msg->toString();
    EXPECT_EQ(invalid->cause, c.outcome);
    if (c.line != nullptr) {
      EXPECT_EQ(msg->toString(), c.line);
    }
    MessageBase::invalidHandling = 6;
    EXPECT_EQ(decodeExact(frame, given) == nullptr, !c.ownInvalid);
    if (c.error != nullptr) {
      const Bytes exact(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(given));
      try {
        delete MessageBase::creators.at(static_cast<msgid_t>(c.id))(
            exact.data(), static_cast<unsigned int>(exact.size()));
        ADD_FAILURE() << "the creator did not throw";
      } catch (const InvalidMessageException& e) {
        std::string text = e.text;
        if (e.cause == invalidEnumValue) text += "=" + std::to_string(e.value);
        EXPECT_EQ(text, c.error);
      }
    }
    return;
  }
  ASSERT_EQ(invalid, nullptr) << msg->toString();

  const std::string line = msg->toString();
  EXPECT_EQ(line, c.line);
  EXPECT_EQ(static_cast<int>(msg->getSize()), c.size);
  for (bool upper : {false, true}) {
    const DirtyPrint dirty = printDirty(*msg, upper);
    if (upper && c.caseOpen) {
      EXPECT_TRUE(equalIgnoringCase(dirty.text, line)) << dirty.text;
    } else {
      EXPECT_EQ(dirty.text, line);
    }
    EXPECT_TRUE(dirty.restored);
  }

  const unsigned int size = msg->getSize();
  if (c.written == nullptr || *c.written != '\0') {
    // A whole frame where the header is re-encoded differently, else the body.
    const Bytes written = c.written == nullptr ? Bytes() : hex(c.written);
    const Bytes expected = c.written == nullptr         ? frame
                           : written.size() == size + 2 ? written
                                                        : vxtest::frame(c.id, kCaseTs, written, kCaseHeaderWord);
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
