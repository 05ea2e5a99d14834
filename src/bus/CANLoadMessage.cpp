#include "vxtrace/CANLoadMessage.h"

#include "util/Record.h"

using namespace vxtrace::detail;

CANLoadMessage::CANLoadMessage(unsigned long long ts) : MessageBase(MSGID_CANLOAD, ts) {}

CANLoadMessage::CANLoadMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_CANLOAD, 0) {
  // The creator only insists on 20 bytes; the counters it does not cover read as 0.
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  stdMsgCount0 = in.be16();
  stdDlcSum0 = in.be16();
  stdMsgCount1 = in.be16();
  stdDlcSum1 = in.be16();
  extMsgCount0 = in.be16();
  extDlcSum0 = in.be16();
  extMsgCount1 = in.be16();
  extDlcSum1 = in.be16();
}

MessageBase* CANLoadMessage::readFromByteArray(const unsigned char* data, unsigned int length) {
  return length < 20 ? nullptr : new CANLoadMessage(data, length);
}

VXTRACE_RECORD_CLONE(CANLoadMessage)
VXTRACE_RECORD_TEXT(CANLoadMessage)

unsigned int CANLoadMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                              bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.be16(stdMsgCount0);
    w.be16(stdDlcSum0);
    w.be16(stdMsgCount1);
    w.be16(stdDlcSum1);
    w.be16(extMsgCount0);
    w.be16(extDlcSum0);
    w.be16(extMsgCount1);
    w.be16(extDlcSum1);
  });
}

unsigned int CANLoadMessage::getSize() const { return 28; }

bool CANLoadMessage::operator==(const MessageBase&) const { return false; }

void CANLoadMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  CAN LOAD Std| stdMsgCount0 = " << stdMsgCount0 << ", stdDlcSum0 = " << stdDlcSum0
     << ", stdMsgCount1 = " << stdMsgCount1 << ", stdDlcSum1 = " << stdDlcSum1
     << "  CAN LOAD Ext| extMsgCount0 = " << extMsgCount0 << ", extDlcSum0 = " << extDlcSum0
     << ", extMsgCount1 = " << extMsgCount1 << ", extDlcSum1 = " << extDlcSum1;
}
