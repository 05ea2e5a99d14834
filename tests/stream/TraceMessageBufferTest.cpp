#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "support/IoSupport.h"
#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

namespace {

using vxtest::Bytes;
using vxtest::cat;
using vxtest::hex;
using vxtest::Pipe;
using vxtest::syncFrame;
using vxtest::writeAll;
using Messages = std::vector<std::unique_ptr<MessageBase>>;

Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }

// A reader on a pipe the test writes into.
struct PipeReader {
  Pipe p;
  TraceMessageBuffer tmb;
  explicit PipeReader(unsigned int size = 4096, std::mutex* m = nullptr) : tmb(p.r, size, m) {}
  int feed(const Bytes& b) {
    writeAll(p.w, b);
    return tmb.read();
  }
};

// Every message buffered now.
Messages drain(TraceMessageBuffer& tmb) {
  Messages out;
  while (MessageBase* m = tmb.getNextMessage()) out.emplace_back(m);
  return out;
}

// A stream buffer that notes every write made while the given mutex was free.
struct LockProbe : std::stringbuf {
  std::mutex& m;
  int unlockedWrites = 0;
  explicit LockProbe(std::mutex& mx) : m(mx) {}
  void probe() {
    if (m.try_lock()) ++unlockedWrites, m.unlock();
  }
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    probe();
    return std::stringbuf::xsputn(s, n);
  }
  int_type overflow(int_type c) override {
    probe();
    return std::stringbuf::overflow(c);
  }
};

const Bytes kStart = syncFrame(MSGID_START, 0x0102030405060708ULL, {});
const Bytes kVersion = syncFrame(MSGID_VERSION, 42, text("v1.2"));

TEST(TraceMessageBufferTest, CutsFramesInPlaceAndAcrossReads) {
  vxtest::RegistryGuard guard;
  PipeReader r(64);
  TraceMessageBuffer& tmb = r.tmb;
  tmb.keepRawData = true;
  // Two frames and the head of a third fill the buffer in one read. Both whole frames come out
  // without a second read; the third reaches the buffer's end and is moved to the start.
  Bytes big = syncFrame(MSGID_VERSION, 7, text(std::string(24, 'x')));  // 40 bytes
  ASSERT_EQ(r.feed(cat({kStart, kVersion, Bytes(big.begin(), big.begin() + 28)})), 64);
  Messages got = drain(tmb);
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0]->rawBytes, kStart);
  EXPECT_EQ(Bytes(tmb.pbuffer, tmb.pDataEnd), Bytes(big.begin(), big.begin() + 28));
  ASSERT_EQ(r.feed(Bytes(big.begin() + 28, big.end())), 12);
  uint8_t *begin, *end;
  ASSERT_TRUE(tmb.getNextMessage(begin, end));
  EXPECT_EQ(Bytes(begin, end), Bytes(big.begin() + 2, big.end()));  // from the size field

  // A split frame that does not reach the end stays in place; the next read fills the tail.
  ASSERT_EQ(r.feed(cat({kStart, Bytes(kStart.begin(), kStart.begin() + 10)})), 26);
  ASSERT_TRUE(tmb.getNextMessage(begin, end));
  EXPECT_FALSE(tmb.getNextMessage(begin, end));
  ASSERT_EQ(r.feed(cat({Bytes(kStart.begin() + 10, kStart.end()), hex("55")})), 7);
  ASSERT_TRUE(tmb.getNextMessage(begin, end));
  EXPECT_EQ(begin, tmb.pbuffer + 18);
  EXPECT_EQ(Bytes(begin, end), Bytes(kStart.begin() + 2, kStart.end()));
  EXPECT_FALSE(tmb.getNextMessage(begin, end));  // a lone marker byte waits for more
  EXPECT_EQ(tmb.pDataEnd - tmb.pDataStart, 1);
}

TEST(TraceMessageBufferTest, GarbageIsSkippedAndReportedUnderTheCallersMutex) {
  vxtest::RegistryGuard guard;
  std::mutex out;
  LockProbe probe(out);
  std::streambuf* old = std::cerr.rdbuf(&probe);
  {
    PipeReader r(4096, &out);
    r.feed(cat({kStart, hex("00 00 00"), kStart, hex("13"), kVersion}));
    EXPECT_EQ(drain(r.tmb).size(), 3u);
    EXPECT_EQ(r.tmb.getSkippedBytes(), 1u);  // padding is not skipped data
  }
  std::cerr.rdbuf(old);
  EXPECT_NE(probe.str().find("[ERROR] invalid data (1 bytes): \n"), std::string::npos);
  EXPECT_EQ(probe.unlockedWrites, 0);
}

TEST(TraceMessageBufferTest, FramingWithoutMarkerAndFramingV2) {
  vxtest::RegistryGuard guard;
  PipeReader r;
  TraceMessageBuffer& tmb = r.tmb;
  tmb.expectSync = false;
  tmb.keepRawData = true;
  Bytes plain = vxtest::frame(MSGID_STOP, 9, {});
  r.feed(cat({plain, plain}));
  Messages got = drain(tmb);
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[1]->rawBytes, plain);
  EXPECT_EQ(tmb.lastMessage, plain);

  uint8_t *begin, *end;
  r.feed(hex("01 00 02 AA BB 02 00 00"));
  ASSERT_TRUE(tmb.getNextMessageV2(begin, end));
  EXPECT_EQ(Bytes(begin, end), hex("01 00 02 AA BB"));
  ASSERT_TRUE(tmb.getNextMessageV2(begin, end));
  EXPECT_EQ(Bytes(begin, end), hex("02 00 00"));

  tmb.expectSync = true;
  vxtest::Capture err(std::cerr);
  r.feed(hex("13 00 5A 01 00 01 FF 5A 03 00 05 11"));
  ASSERT_TRUE(tmb.getNextMessageV2(begin, end));
  EXPECT_EQ(Bytes(begin, end), hex("01 00 01 FF"));
  EXPECT_FALSE(tmb.getNextMessageV2(begin, end));  // incomplete: the 'Z' is put back
  EXPECT_EQ(*tmb.pDataStart, 'Z');
  r.feed(hex("22 33 44 55"));
  ASSERT_TRUE(tmb.getNextMessageV2(begin, end));
  EXPECT_EQ(Bytes(begin, end), hex("03 00 05 11 22 33 44 55"));
  EXPECT_EQ(err.text(), "");
}

TEST(TraceMessageBufferTest, ResizeOnlyWhenEmptyAndOversizedFrameIsEnomem) {
  vxtest::RegistryGuard guard;
  PipeReader r(64);
  TraceMessageBuffer& tmb = r.tmb;
  EXPECT_TRUE(tmb.resize(100));
  EXPECT_EQ(tmb.bufferSize, 1024u);
  Bytes big = syncFrame(MSGID_VERSION, 1, text(std::string(1100, 'y')));
  ASSERT_EQ(r.feed(big), 1024);
  EXPECT_EQ(tmb.getNextMessage(), nullptr);
  errno = 0;
  EXPECT_EQ(tmb.read(), -1);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_FALSE(tmb.resize(4096));
  EXPECT_EQ(Bytes(tmb.pDataStart, tmb.pDataEnd), Bytes(big.begin(), big.begin() + 1024));
  // Once the data is dropped the owner may grow the buffer and read on.
  uint8_t rest[92];
  ASSERT_EQ(::read(r.p.r, rest, sizeof rest), 92);
  tmb.clear();
  EXPECT_TRUE(tmb.resize(2048));
  ASSERT_EQ(r.feed(cat({big, kStart})), static_cast<int>(big.size() + kStart.size()));
  EXPECT_EQ(drain(tmb).size(), 2u);
}

TEST(TraceMessageBufferTest, UndecodableFrameThrowsAndReaderGoesOn) {
  vxtest::RegistryGuard guard;
  MessageBase::registerMessage(static_cast<msgid_t>(41),
                               [](const unsigned char*, unsigned int) -> MessageBase* {
                                 throw VXException(22, "DLT too short");
                               });
  MessageBase::registerMessage(
      static_cast<msgid_t>(42),
      [](const unsigned char*, unsigned int) -> MessageBase* { throw std::runtime_error("boom"); });
  PipeReader r;
  r.feed(cat({syncFrame(40, 1, hex("AB")), syncFrame(41, 2, {}), syncFrame(42, 3, {}),
              syncFrame(40, 4, {}), kStart}));
  const struct {
    const char* cause;
    const char* raw;
    int code;
  } rows[] = {{"", "0d 00 28 00 00 00 00 00 00 00 00 00 01 ab", 0},  // no decoder for 40
              {"DLT too short\n", "0c 00 29 00 00 00 00 00 00 00 00 00 02", 22},
              {"[ERROR] unhandled exception\n", "0c 00 2a 00 00 00 00 00 00 00 00 00 03", 0}};
  for (const auto& row : rows) {
    try {
      delete r.tmb.getNextMessage();
      ADD_FAILURE() << "no exception for " << row.raw;
    } catch (const VXException& e) {
      EXPECT_EQ(e.what(), std::string(row.cause) +
                              "[ERROR] failed to convert bytestream to trace message.\n"
                              "[ERROR] raw data: 55 aa 00 " +
                              row.raw);
      EXPECT_EQ(e.getErrorCode(), row.code);
    }
  }
  // With invalidHandling 1 the decoder's InvalidMessage comes back instead of an exception.
  MessageBase::invalidHandling = 1;
  std::unique_ptr<MessageBase> invalid(r.tmb.getNextMessage());
  ASSERT_NE(dynamic_cast<InvalidMessage*>(invalid.get()), nullptr);
  std::unique_ptr<MessageBase> next(r.tmb.getNextMessage());
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(next->msgId, MSGID_START);
}

volatile sig_atomic_t alarms = 0;
int alarmFd = -1;
// The second alarm delivers a frame (write is async-signal-safe).
void onAlarm(int) {
  alarms = alarms + 1;
  if (alarms == 2 && ::write(alarmFd, kStart.data(), kStart.size()) < 0) alarms = -1;
}

TEST(TraceMessageBufferTest, ReadErrorsEofAndDebugLines) {
  vxtest::RegistryGuard guard;
  PipeReader r(32);
  TraceMessageBuffer& tmb = r.tmb;
  fcntl(r.p.r, F_SETFL, O_NONBLOCK);
  errno = 0;
  EXPECT_EQ(tmb.read(), 0);
  EXPECT_EQ(errno, EAGAIN);
  r.p.closeWriter();
  EXPECT_EQ(tmb.read(), 0);  // end of file

  // A blocking read interrupted by a signal: -1/EINTR, or retried when asked to (the frame the
  // second alarm writes is there only after the interrupted read).
  Pipe q;
  alarmFd = q.w;
  alarms = 0;
  struct sigaction sa {
  }, oldSa{};
  sa.sa_handler = onAlarm;  // no SA_RESTART
  sigaction(SIGALRM, &sa, &oldSa);
  itimerval shot{{0, 0}, {0, 20000}};
  TraceMessageBuffer blocking(q.r);
  setitimer(ITIMER_REAL, &shot, nullptr);
  EXPECT_EQ(blocking.read(), -1);
  EXPECT_EQ(errno, EINTR);
  blocking.retryOnInterrupt = true;
  setitimer(ITIMER_REAL, &shot, nullptr);
  EXPECT_EQ(blocking.read(), 16);
  EXPECT_EQ(alarms, 2);
  sigaction(SIGALRM, &oldSa, nullptr);
}

TEST(TraceMessageBufferTest, OpenReportsMissingFileAndClosesOwnDescriptor) {
  vxtest::TempDir dir;
  const std::string missing = dir.path("missing.trc");
  TraceMessageBuffer none(missing.c_str());
  errno = 0;
  EXPECT_FALSE(none.open());
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(none.fd, -1);
  EXPECT_EQ(none.getLastError(), "cannot open '" + missing + "': No such file or directory");

  int opened;
  {
    TraceMessageBuffer tmb(dir.dir.c_str());
    ASSERT_TRUE(tmb.open());  // a directory opens read-only; reading it then fails
    opened = tmb.fd;
    EXPECT_GE(opened, 0);
    EXPECT_TRUE(tmb.getLastError().empty());
    EXPECT_EQ(tmb.read(), -1);
    EXPECT_EQ(errno, EISDIR);
  }
  EXPECT_EQ(fcntl(opened, F_GETFD), -1);  // closed by the reader that opened it
  Pipe p;
  {
    TraceMessageBuffer given(p.r);
    given.close();
    EXPECT_EQ(given.fd, p.r);
  }
  EXPECT_NE(fcntl(p.r, F_GETFD), -1);  // a caller's descriptor stays open
}

}  // namespace
