#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/CANTraceMessageBase.h"
#include "vxtrace/MessageBase.h"

// One traced XCP packet ("MSGID_XCP") between a measurement master and an ECU, on CAN, CAN FD or
// Ethernet: transport header, the packet (identification, time-stamp and data fields), transport
// tail and the settings that identify the link. Command, PID, error and event codes are the XCP
// standard's values.
class VXTRACE_API XCP_Message : public MessageBase {
 public:
  enum msgDirection_t : uint8_t { DIR_UNKNOWN = 0, DIR_RX = 1, DIR_TX = 2 };  // Rx: slave to master
  enum transportType_t : uint8_t {
    TRANSPORT_UNKNOWN = 0,
    TRANSPORT_ETH = 1,
    TRANSPORT_CAN = 2,
    TRANSPORT_FR = 3,
    TRANSPORT_CAN_FD = 4
  };
  enum packetType_t : uint8_t {
    PACKET_UNKNOWN = 0,
    CTO_CMD = 1,
    CTO_RES = 2,
    CTO_ERR = 3,
    CTO_EV = 4,
    CTO_SERV = 5,
    DTO_DAQ = 6,
    DTO_STIM = 7
  };
  enum identificationFieldType_t : uint8_t {
    ABSOLUTE_ODT_NUMBER = 0,
    RELATIVE_ODT_ABSOLUTE_DAQ_BYTE = 1,
    RELATIVE_ODT_ABSOLUTE_DAQ_WORD = 2,
    RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED = 3,
    CTO_PACKET_CODE = 5
  };
  enum timestampFieldType_t : uint8_t { TS_NO = 0, TS_BYTE = 1, TS_WORD = 2, TS_DWORD = 4 };

  // Codes carried in the packet; the getters answer the INVALID value when the packet carries
  // none of that kind.
  enum cmdCode_t : int {
    CMD_INVALID = -1,
    CMD_LEVEL1_INDICATOR = 0xC0,
    CMD_DTO_CTR_PROPERTIES = 0xC5,
    CMD_TIME_CORRELATION_PROPERTIES = 0xC6,
    CMD_WRITE_DAQ_MULTIPLE = 0xC7,
    CMD_PROGRAM_VERIFY = 0xC8,
    CMD_PROGRAM_MAX = 0xC9,
    CMD_PROGRAM_NEXT = 0xCA,
    CMD_PROGRAM_FORMAT = 0xCB,
    CMD_PROGRAM_PREPARE = 0xCC,
    CMD_GET_SECTOR_INFO = 0xCD,
    CMD_GET_PGM_PROCESSOR_INFO = 0xCE,
    CMD_PROGRAM_RESET = 0xCF,
    CMD_PROGRAM = 0xD0,
    CMD_PROGRAM_CLEAR = 0xD1,
    CMD_PROGRAM_START = 0xD2,
    CMD_ALLOC_ODT_ENTRY = 0xD3,
    CMD_ALLOC_ODT = 0xD4,
    CMD_ALLOC_DAQ = 0xD5,
    CMD_FREE_DAQ = 0xD6,
    CMD_GET_DAQ_EVENT_INFO = 0xD7,
    CMD_GET_DAQ_LIST_INFO = 0xD8,
    CMD_GET_DAQ_RESOLUTION_INFO = 0xD9,
    CMD_GET_DAQ_PROCESSOR_INFO = 0xDA,
    CMD_READ_DAQ = 0xDB,
    CMD_GET_DAQ_CLOCK = 0xDC,
    CMD_START_STOP_SYNCH = 0xDD,
    CMD_START_STOP_DAQ_LIST = 0xDE,
    CMD_GET_DAQ_LIST_MODE = 0xDF,
    CMD_SET_DAQ_LIST_MODE = 0xE0,
    CMD_WRITE_DAQ = 0xE1,
    CMD_SET_DAQ_PTR = 0xE2,
    CMD_CLEAR_DAQ_LIST = 0xE3,
    CMD_COPY_CAL_PAGE = 0xE4,
    CMD_GET_SEGMENT_MODE = 0xE5,
    CMD_SET_SEGMENT_MODE = 0xE6,
    CMD_GET_PAGE_INFO = 0xE7,
    CMD_GET_SEGMENT_INFO = 0xE8,
    CMD_GET_PAG_PROCESSOR_INFO = 0xE9,
    CMD_GET_CAL_PAGE = 0xEA,
    CMD_SET_CAL_PAGE = 0xEB,
    CMD_MODIFY_BITS = 0xEC,
    CMD_SHORT_DOWNLOAD = 0xED,
    CMD_DOWNLOAD_MAX = 0xEE,
    CMD_DOWNLOAD_NEXT = 0xEF,
    CMD_DOWNLOAD = 0xF0,
    CMD_USER_CMD = 0xF1,
    CMD_TRANSPORT_LAYER_CMD = 0xF2,
    CMD_BUILD_CHECKSUM = 0xF3,
    CMD_SHORT_UPLOAD = 0xF4,
    CMD_UPLOAD = 0xF5,
    CMD_SET_MTA = 0xF6,
    CMD_UNLOCK = 0xF7,
    CMD_GET_SEED = 0xF8,
    CMD_SET_REQUEST = 0xF9,
    CMD_GET_ID = 0xFA,
    CMD_GET_COMM_MODE_INFO = 0xFB,
    CMD_SYNCH = 0xFC,
    CMD_GET_STATUS = 0xFD,
    CMD_DISCONNECT = 0xFE,
    CMD_CONNECT = 0xFF
  };
  // Sub-command after LEVEL1_INDICATOR.
  enum cmdCode_t_l1 : int {
    L1_GET_VERSION = 0x00,
    L1_SET_DAQ_PACKED_MODE = 0x01,
    L1_GET_DAQ_PACKED_MODE = 0x02,
    L1_ASAM_POD = 0xFC
  };
  // Sub-commands of TRANSPORT_LAYER_CMD per transport.
  enum canSubCmdCode_t : int {
    CAN_GET_SLAVE_ID = 0xFF,
    CAN_GET_DAQ_ID = 0xFE,
    CAN_SET_DAQ_ID = 0xFD,
    CAN_GET_DAQ_CLOCK_MULTICAST = 0xFC
  };
  enum ethernetSubCmdCode_t : int {
    ETH_GET_SLAVE_ID = 0xFF,
    ETH_GET_DAQ_CLOCK_MULTICAST = 0xFC,
    ETH_GET_SLAVE_ID_EXTENDED = 0xFB,
    ETH_GET_SLAVE_IP_ADDRESS = 0xFA
  };
  enum flexRaySubCmdCode_t : int {
    FLX_ASSIGN = 0xFF,
    FLX_ACTIVATE = 0xFE,
    FLX_DEACTIVATE = 0xFD,
    FLX_GET_DAQ_FLX_BUF = 0xFC,
    FLX_SET_DAQ_FLX_BUF = 0xFB,
    FLX_GET_DAQ_CLOCK_MULTICAST = 0xFA
  };
  // The class's own ERR_INVALID is meant to hide the remote-control one in the global namespace.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wshadow"
#endif
  enum errorPacketCode_t : int {
    ERR_INVALID = -1,
    ERR_CMD_SYNCH = 0x00,
    ERR_CMD_BUSY = 0x10,
    ERR_DAQ_ACTIVE = 0x11,
    ERR_PGM_ACTIVE = 0x12,
    ERR_CMD_UNKNOWN = 0x20,
    ERR_CMD_SYNTAX = 0x21,
    ERR_OUT_OF_RANGE = 0x22,
    ERR_WRITE_PROTECTED = 0x23,
    ERR_ACCESS_DENIED = 0x24,
    ERR_ACCESS_LOCKED = 0x25,
    ERR_PAGE_NOT_VALID = 0x26,
    ERR_MODE_NOT_VALID = 0x27,
    ERR_SEGMENT_NOT_VALID = 0x28,
    ERR_SEQUENCE = 0x29,
    ERR_DAQ_CONFIG = 0x2A,
    ERR_MEMORY_OVERFLOW = 0x30,
    ERR_GENERIC = 0x31,
    ERR_VERIFY = 0x32,
    ERR_RESOURCE_TEMPORARY_NOT_ACCESSIBLE = 0x33,
    ERR_SUBCMD_UNKNOWN = 0x34,
    ERR_TIMECORR_STATE_CHANGE = 0x35
  };
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
  enum eventPacketCode_t : int {
    EV_INVALID = -1,
    EV_RESUME_MODE = 0x00,
    EV_CLEAR_DAQ = 0x01,
    EV_STORE_DAQ = 0x02,
    EV_STORE_CAL = 0x03,
    EV_CMD_PENDING = 0x05,
    EV_DAQ_OVERLOAD = 0x06,
    EV_SESSION_TERMINATED = 0x07,
    EV_TIME_SYNC = 0x08,
    EV_STIM_TIMEOUT = 0x09,
    EV_SLEEP = 0x0A,
    EV_WAKE_UP = 0x0B,
    EV_ECU_STATE_CHANGE = 0x0C,
    EV_POD = 0xFD,
    EV_USER = 0xFE,
    EV_TRANSPORT = 0xFF
  };
  enum serviceRequestPacketCode_t : int { SERV_INVALID = -1, SERV_RESET = 0x00, SERV_TEXT = 0x01 };
  // PIDs by direction; values below 0xFC (slave) or 0xC0 (master) are DAQ or STIM packets.
  enum slaveToMasterPid_t : int {
    S2M_INVALID = -1,
    S2M_SERV = 0xFC,
    S2M_EV = 0xFD,
    S2M_ERR = 0xFE,
    S2M_RES = 0xFF
  };
  enum masterToSlavePid_t : int { M2S_INVALID = -1, M2S_STIM_MAX = 0xBF, M2S_CMD_MIN = 0xC0 };

  // Value sets of the DAQ property bit fields of XCP responses.
  enum timeUnit_t : int {
    UNIT_1NS = 0,
    UNIT_10NS = 1,
    UNIT_100NS = 2,
    UNIT_1US = 3,
    UNIT_10US = 4,
    UNIT_100US = 5,
    UNIT_1MS = 6,
    UNIT_10MS = 7,
    UNIT_100MS = 8,
    UNIT_1S = 9,
    UNIT_1PS = 10,
    UNIT_10PS = 11,
    UNIT_100PS = 12
  };
  enum eventChannelConsistency_t : int {
    CONSISTENCY_ODT = 0,
    CONSISTENCY_DAQ = 1,
    CONSISTENCY_EVENT = 2
  };
  enum directionType_t : int { DIRECTION_DAQ = 1, DIRECTION_STIM = 2, DIRECTION_DAQ_STIM = 3 };
  enum addressGranularity_t : int { AG_BYTE = 0, AG_WORD = 1, AG_DWORD = 2 };
  enum daqConfigType_t : int { DAQ_CONFIG_STATIC = 0, DAQ_CONFIG_DYNAMIC = 1 };
  enum overloadIndicationType_t : int { OVERLOAD_NO = 0, OVERLOAD_PID = 1, OVERLOAD_EVENT = 2 };
  enum optimisationType_t : int {
    OM_DEFAULT = 0,
    OM_ODT_TYPE_16 = 1,
    OM_ODT_TYPE_32 = 2,
    OM_ODT_TYPE_64 = 3,
    OM_ODT_TYPE_ALIGNMENT = 4,
    OM_MAX_ENTRY_SIZE = 5
  };
  enum addressExtensionType_t : int { AE_FREE = 0, AE_ODT = 1, AE_DAQ = 3 };
  enum odtEntrySizeGranularity_t : int {
    ODT_GRANULARITY_BYTE = 1,
    ODT_GRANULARITY_WORD = 2,
    ODT_GRANULARITY_DWORD = 4,
    ODT_GRANULARITY_DLONG = 8
  };

  // Transport-layer header: on Ethernet exactly 4 bytes, LEN and CTR each 16-bit little-endian;
  // empty on CAN and CAN FD.
  struct VXTRACE_API Header {
    transportType_t transportType = TRANSPORT_UNKNOWN;
    bool active = false;
    std::vector<uint8_t> bytes;

    // Ethernet: 4 zero bytes, active; CAN and CAN FD: empty, inactive.
    void setTransportType(transportType_t type);
    // Only on an Ethernet header of exactly 4 bytes; false otherwise.
    bool setLEN(uint16_t len);
    bool getLEN(uint16_t& len) const;
    bool setCTR(uint16_t ctr);
    bool getCTR(uint16_t& ctr) const;
    bool operator==(const Header& o) const;
  };

  struct VXTRACE_API Packet {
    struct VXTRACE_API IdentificationField {
      identificationFieldType_t type = CTO_PACKET_CODE;
      uint8_t pid = 0;
      uint8_t fill = 0;
      uint16_t daqListNumber = 0;
      bool operator==(const IdentificationField& o) const;
    };
    struct VXTRACE_API TimestampField {
      timestampFieldType_t type = TS_NO;
      std::vector<uint8_t> bytes;
      // Sizes bytes to the type (0, 1, 2 or 4 zero bytes; other types none).
      void setType(timestampFieldType_t t);
      void setTimestamp(const uint8_t* data, unsigned int length);
      bool operator==(const TimestampField& o) const;
    };
    struct VXTRACE_API DataField {
      std::vector<uint8_t> bytes;
      bool operator==(const DataField& o) const;
    };

    IdentificationField identificationField;
    TimestampField timestampField;
    DataField dataField;

    // Moves the first bytes of the data field (as many as the time-stamp type takes) into the
    // time-stamp field; for decoded DAQ packets once their time-stamp type is known. False, and
    // nothing moved, when the data field is shorter.
    bool moveTimestampData();
    bool operator==(const Packet& o) const;
  };

  // Transport-layer tail: CAN fill bytes after the packet; empty on Ethernet.
  struct VXTRACE_API Tail {
    transportType_t transportType = TRANSPORT_UNKNOWN;
    bool active = false;
    std::vector<uint8_t> bytes;

    // Clears the bytes; the tail stays inactive until setActive.
    void setTransportType(transportType_t type);
    void setActive(bool a);
    bool operator==(const Tail& o) const;
  };

  uint8_t ecuChannel;  // zero-based
  msgDirection_t direction;
  transportType_t transportType;
  Header header;
  Packet packet;
  Tail tail;
  // CAN and CAN FD link.
  uint32_t canId;
  cantype_t canType;
  uint8_t canChannel;  // zero-based logger CAN channel
  // Ethernet link.
  std::string dstAddress;
  std::string srcAddress;
  std::string netMask;
  uint16_t port;
  bool tcp;  // false: UDP

  XCP_Message();
  // timestamp in microseconds. Header and tail take the transport's shape.
  XCP_Message(uint64_t timestamp, transportType_t transport, msgDirection_t direction,
              uint8_t ecuChannel);
  // data starts at the size field. Malformed input writes its error lines to standard error
  // and throws InvalidMessageException.
  XCP_Message(const uint8_t* data, unsigned len);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written; 0, nothing written and an error line when the frame does not
  // fit or a part is too long for its length field.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // The time-stamp part counts modulo 256, as its one length byte does.
  unsigned int getSize() const override;
  // Same class and every field, time stamp included; headerWord is not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // "CCP_XCP #" and the zero-based ECU channel.
  std::string getSourceChannel() const override;
  // Low word 0x0B00 | ECU channel, high word sourceWord.
  uint64_t getSourceChannelID() const override;
  using MessageBase::cascadeChannel;
  // Adds ecuOffset to the ECU channel and, on CAN and CAN FD, canOffset to the CAN channel,
  // both modulo 256.
  void cascadeChannel(unsigned short ecuOffset, unsigned short canOffset);

  // From direction and PID; writes a diagnostic line for STIM and for unknown PIDs or
  // directions.
  packetType_t getPacketType() const;
  slaveToMasterPid_t getSlaveToMasterPid() const;
  cmdCode_t getCmdCode() const;
  serviceRequestPacketCode_t getServiceRequestPacketCode() const;
  eventPacketCode_t getEventPacketCode() const;
  errorPacketCode_t getErrorPacketCode() const;
  bool getCanTransportTypeSettings(unsigned& id, cantype_t& type, uint8_t& channel) const;
  bool getEthernetTransportTypeSettings(std::string& dst, std::string& src, std::string& mask,
                                        uint16_t& port, bool& tcp) const;
  // Smallest number of data bytes of a positive response to cmd; -1 where there is no entry.
  static int getMinResDataSize(cmdCode_t cmd);
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::msgDirection_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::transportType_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::packetType_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::identificationFieldType_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::timestampFieldType_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::cmdCode_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::cmdCode_t_l1 v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::canSubCmdCode_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::ethernetSubCmdCode_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::flexRaySubCmdCode_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::errorPacketCode_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::eventPacketCode_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::serviceRequestPacketCode_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::slaveToMasterPid_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::masterToSlavePid_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::timeUnit_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::eventChannelConsistency_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::directionType_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::addressGranularity_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::daqConfigType_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::overloadIndicationType_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::optimisationType_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::addressExtensionType_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, XCP_Message::odtEntrySizeGranularity_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const XCP_Message& msg);
