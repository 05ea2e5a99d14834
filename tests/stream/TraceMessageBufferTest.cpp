#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "support/TestSupport.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/InvalidMessage.h"
#include "vxtrace/PlatformUtil.h"
#include "vxtrace/StringMessageBase.h"
#include "vxtrace/TraceMessageBuffer.h"

namespace {

using vxtest::Bytes;
using vxtest::hex;
using vxtest::syncFrame;
using Messages = std::vector<std::unique_ptr<MessageBase>>;

Bytes cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }

void writeAll(int fd, const uint8_t* data, size_t n) {
  while (n > 0) {
    ssize_t w = ::write(fd, data, n);
    if (w < 0) throw std::runtime_error("write failed");
    data += w;
    n -= static_cast<size_t>(w);
  }
}
void writeAll(int fd, const Bytes& b) { writeAll(fd, b.data(), b.size()); }

struct Pipe {
  int r, w;
  Pipe() { std::tie(r, w) = vxtest::makePipe(); }
  ~Pipe() {
    ::close(r);
    if (w >= 0) ::close(w);
  }
  void closeWriter() { ::close(w), w = -1; }
};

struct TempDir {
  std::filesystem::path path;
  TempDir() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "tmbXXXXXX").string();
    if (!mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
    path = tmpl;
  }
  ~TempDir() { std::filesystem::remove_all(path); }
};

Messages drain(TraceMessageBuffer& tmb) {
  Messages out;
  while (MessageBase* m = tmb.getNextMessage()) out.emplace_back(m);
  return out;
}

size_t count(const std::string& hay, const std::string& needle) {
  size_t n = 0;
  for (size_t at = hay.find(needle); at != std::string::npos; at = hay.find(needle, at + 1)) ++n;
  return n;
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
  Pipe p;
  TraceMessageBuffer tmb(p.r, 64u);
  tmb.keepRawData = true;
  // Two frames and the head of a third fill the buffer in one read. Both whole frames come out
  // without a second read; the third reaches the buffer's end and is moved to the start.
  Bytes big = syncFrame(MSGID_VERSION, 7, text(std::string(24, 'x')));  // 40 bytes
  writeAll(p.w, cat({kStart, kVersion, Bytes(big.begin(), big.begin() + 28)}));
  ASSERT_EQ(tmb.read(), 64);
  Messages got;
  got.emplace_back(tmb.getNextMessage());
  got.emplace_back(tmb.getNextMessage());
  ASSERT_NE(got[1], nullptr);
  EXPECT_EQ(got[0]->msgId, MSGID_START);
  EXPECT_EQ(got[0]->timeStamp, 0x0102030405060708ULL);
  EXPECT_EQ(got[0]->rawBytes, kStart);
  EXPECT_EQ(got[1]->timeStamp, 42u);
  EXPECT_EQ(dynamic_cast<std::string&>(*got[1]), "v1.2");
  EXPECT_EQ(tmb.lastMessage, kVersion);
  EXPECT_EQ(tmb.getNextMessage(), nullptr);
  EXPECT_EQ(tmb.pDataStart, tmb.pbuffer);
  EXPECT_EQ(Bytes(tmb.pbuffer, tmb.pDataEnd), Bytes(big.begin(), big.begin() + 28));
  writeAll(p.w, Bytes(big.begin() + 28, big.end()));
  ASSERT_EQ(tmb.read(), 12);
  uint8_t *begin, *end;
  ASSERT_TRUE(tmb.getNextMessage(begin, end));
  EXPECT_EQ(Bytes(begin, end), Bytes(big.begin() + 2, big.end()));  // from the size field

  // A split frame that does not reach the end stays in place; the next read fills the tail.
  writeAll(p.w, cat({kStart, Bytes(kStart.begin(), kStart.begin() + 10)}));
  ASSERT_EQ(tmb.read(), 26);
  ASSERT_TRUE(tmb.getNextMessage(begin, end));
  EXPECT_FALSE(tmb.getNextMessage(begin, end));
  EXPECT_EQ(tmb.pDataStart, tmb.pbuffer + 16);
  writeAll(p.w, cat({Bytes(kStart.begin() + 10, kStart.end()), hex("55")}));
  ASSERT_EQ(tmb.read(), 7);
  ASSERT_TRUE(tmb.getNextMessage(begin, end));
  EXPECT_EQ(begin, tmb.pbuffer + 18);
  EXPECT_EQ(Bytes(begin, end), Bytes(kStart.begin() + 2, kStart.end()));
  EXPECT_FALSE(tmb.getNextMessage(begin, end));  // a lone marker byte waits for more
  EXPECT_EQ(tmb.pDataEnd - tmb.pDataStart, 1);
}

TEST(TraceMessageBufferTest, SkipsPaddingSilentlyAndReportsGarbageOnce) {
  vxtest::RegistryGuard guard;
  std::mutex out;
  LockProbe probe(out);
  std::streambuf* old = std::cerr.rdbuf(&probe);
  Messages got;
  bool skippedBeforeLast = false;
  {
    Pipe p;
    TraceMessageBuffer tmb(p.r, &out);
    writeAll(p.w, cat({kStart, hex("00 00 00"), kStart, hex("13"), kVersion}));
    tmb.read();
    for (int i = 0; i < 3; ++i) {
      got.emplace_back(tmb.getNextMessage());
      if (i == 1) {
        EXPECT_FALSE(tmb.dataSkipped);  // padding is not skipped data
      }
    }
    skippedBeforeLast = tmb.dataSkipped;
  }
  std::cerr.rdbuf(old);
  ASSERT_NE(got[2], nullptr);
  EXPECT_EQ(got[2]->msgId, MSGID_VERSION);
  EXPECT_TRUE(skippedBeforeLast);
  EXPECT_EQ(probe.str(),
            "[WARNING] TraceMessageBuffer::getNextMessageV1() expected a sync marker, found "
            "0x1355\n"
            "[WARNING] last valid message (size=16): \n"
            "[WARNING] 0000: 55 aa 00 0c 80 20 00 00 01 02 03 04 05 06 07 08\n"
            "[ERROR] invalid data (1 bytes): \n"
            "[ERROR] 0000: 13\n");
  EXPECT_EQ(probe.unlockedWrites, 0);

  // Leading padding is not counted; a named reader says its name; a marker split across reads
  // right after garbage is still found; reportErrors off silences everything but dataSkipped.
  for (bool report : {true, false}) {
    vxtest::Capture err(std::cerr);
    Pipe p;
    TraceMessageBuffer tmb("in.trc");
    tmb.fd = p.r;
    tmb.reportErrors = report;
    writeAll(p.w, cat({hex("00 00 13 14 00 55"), kStart, hex("14 15 16 55")}));
    tmb.read();
    std::unique_ptr<MessageBase> first(tmb.getNextMessage());
    EXPECT_NE(first, nullptr);
    EXPECT_TRUE(tmb.dataSkipped);
    EXPECT_EQ(tmb.getNextMessage(), nullptr);
    writeAll(p.w, Bytes(kStart.begin() + 1, kStart.end()));
    tmb.read();
    std::unique_ptr<MessageBase> second(tmb.getNextMessage());
    EXPECT_NE(second, nullptr);
    EXPECT_TRUE(tmb.dataSkipped);
    std::string expect = report
                             ? "[WARNING] TraceMessageBuffer::getNextMessageV1() in.trc: "
                               "expected a sync marker, found 0x1314\n"
                               "[WARNING] last valid message (size=0): \n"
                               "[ERROR] invalid data (4 bytes): \n"
                               "[ERROR] 0000: 13 14 00 55\n"
                               "[WARNING] TraceMessageBuffer::getNextMessageV1() in.trc: "
                               "expected a sync marker, found 0x1415\n"
                               "[WARNING] last valid message (size=16): \n"
                               "[WARNING] 0000: 55 aa 00 0c 80 20 00 00 01 02 03 04 05 06 07 08\n"
                               "[ERROR] invalid data (3 bytes): \n"
                               "[ERROR] 0000: 14 15 16\n"
                             : "";
    EXPECT_EQ(err.text(), expect);
  }
}

TEST(TraceMessageBufferTest, GarbageRunLongerThanBufferIsOneReportAndRunAtEndIsReportedLast) {
  vxtest::RegistryGuard guard;
  std::mt19937 rng(7);
  Bytes garbage(3000);
  for (uint8_t& b : garbage) b = static_cast<uint8_t>(1 + rng() % 0x54);  // 01..54
  for (size_t i = 100; i < garbage.size(); i += 97) garbage[i] = 0x55;    // false starts
  TempDir dir;
  std::string path = (dir.path / "garbage.trc").string();
  {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    Bytes all = cat({kStart, garbage, kVersion, hex("13 14 15 16 17")});
    std::fwrite(all.data(), 1, all.size(), f);
    std::fclose(f);
  }
  vxtest::Capture err(std::cerr);
  Messages got;
  std::string beforeEnd;
  {
    TraceMessageBuffer tmb(path.c_str());
    ASSERT_TRUE(tmb.open());
    ASSERT_TRUE(tmb.resize(1024));
    while (tmb.read() > 0) {
      while (MessageBase* m = tmb.getNextMessage()) {
        got.emplace_back(m);
        if (m->msgId == MSGID_VERSION) {
          EXPECT_TRUE(tmb.dataSkipped);
        }
      }
    }
    beforeEnd = err.text();
  }
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[1]->timeStamp, 42u);
  EXPECT_EQ(count(beforeEnd, "[WARNING] TraceMessageBuffer"), 2u);
  EXPECT_EQ(count(beforeEnd, "[ERROR] invalid data"), 1u);
  size_t at = beforeEnd.find("[ERROR] invalid data (3000 bytes): \n");
  ASSERT_NE(at, std::string::npos);
  std::ostringstream dump;
  hexdump(dump, garbage.data(), 2048, "[ERROR] ");
  EXPECT_EQ(beforeEnd.substr(at + 36, dump.str().size()), dump.str());
  // The run that the stream ended in is reported when the reader goes away.
  EXPECT_EQ(err.text().substr(beforeEnd.size()),
            "[ERROR] invalid data (5 bytes): \n[ERROR] 0000: 13 14 15 16 17\n");
}

TEST(TraceMessageBufferTest, FramingWithoutMarkerAndFramingV2) {
  vxtest::RegistryGuard guard;
  Pipe p;
  TraceMessageBuffer tmb(p.r);
  tmb.expectSync = false;
  tmb.keepRawData = true;
  Bytes plain = vxtest::frame(MSGID_STOP, 9, {});
  writeAll(p.w, cat({plain, plain}));
  tmb.read();
  Messages got = drain(tmb);
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[1]->msgId, MSGID_STOP);
  EXPECT_EQ(got[1]->rawBytes, plain);
  EXPECT_EQ(tmb.lastMessage, plain);

  uint8_t *begin, *end;
  writeAll(p.w, hex("01 00 02 AA BB 02 00 00"));
  tmb.read();
  ASSERT_TRUE(tmb.getNextMessageV2(begin, end));
  EXPECT_EQ(Bytes(begin, end), hex("01 00 02 AA BB"));
  ASSERT_TRUE(tmb.getNextMessageV2(begin, end));
  EXPECT_EQ(Bytes(begin, end), hex("02 00 00"));

  tmb.expectSync = true;
  vxtest::Capture err(std::cerr);
  writeAll(p.w, hex("13 00 5A 01 00 01 FF 5A 03 00 05 11"));
  tmb.read();
  ASSERT_TRUE(tmb.getNextMessageV2(begin, end));
  EXPECT_EQ(Bytes(begin, end), hex("01 00 01 FF"));
  EXPECT_FALSE(tmb.getNextMessageV2(begin, end));  // incomplete: the 'Z' is put back
  EXPECT_EQ(*tmb.pDataStart, 'Z');
  writeAll(p.w, hex("22 33 44 55"));
  tmb.read();
  ASSERT_TRUE(tmb.getNextMessageV2(begin, end));
  EXPECT_EQ(Bytes(begin, end), hex("03 00 05 11 22 33 44 55"));
  EXPECT_EQ(err.text(), "");
}

TEST(TraceMessageBufferTest, ResizeOnlyWhenEmptyAndOversizedFrameIsEnomem) {
  vxtest::RegistryGuard guard;
  Pipe p;
  TraceMessageBuffer tmb(p.r, 64u);
  EXPECT_TRUE(tmb.resize(100));
  EXPECT_EQ(tmb.bufferSize, 1024u);
  Bytes big = syncFrame(MSGID_VERSION, 1, text(std::string(1100, 'y')));
  writeAll(p.w, big);
  ASSERT_EQ(tmb.read(), 1024);
  EXPECT_EQ(tmb.getNextMessage(), nullptr);
  errno = 0;
  EXPECT_EQ(tmb.read(), -1);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_FALSE(tmb.resize(4096));
  EXPECT_EQ(tmb.bufferSize, 1024u);
  EXPECT_EQ(Bytes(tmb.pDataStart, tmb.pDataEnd), Bytes(big.begin(), big.begin() + 1024));
  // Once the data is dropped the owner may grow the buffer and read on.
  uint8_t rest[92];
  ASSERT_EQ(::read(p.r, rest, sizeof rest), 92);
  tmb.clear();
  EXPECT_TRUE(tmb.resize(2048));
  EXPECT_EQ(tmb.bufferSize, 2048u);
  writeAll(p.w, cat({big, kStart}));
  ASSERT_EQ(tmb.read(), static_cast<int>(big.size() + kStart.size()));
  Messages got = drain(tmb);
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[1]->msgId, MSGID_START);
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
  const std::string failed = "[ERROR] failed to convert bytestream to trace message.\n";
  Pipe p;
  TraceMessageBuffer tmb(p.r);
  writeAll(p.w, cat({syncFrame(40, 1, hex("AB")), syncFrame(41, 2, {}), syncFrame(42, 3, {}),
                     syncFrame(40, 4, {}), kStart}));
  tmb.read();
  std::vector<std::string> texts;
  std::vector<int> codes;
  for (int i = 0; i < 3; ++i) {
    try {
      delete tmb.getNextMessage();
      ADD_FAILURE() << "no exception for frame " << i;
    } catch (const VXException& e) {
      texts.push_back(e.what());
      codes.push_back(e.getErrorCode());
    }
  }
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_EQ(texts[0], failed +
                          "[ERROR] raw data: 55 aa 00 0d 00 28 00 00 00 00 00 00 00 00 00 "
                          "01 ab");
  EXPECT_EQ(texts[1], "DLT too short\n" + failed +
                          "[ERROR] raw data: 55 aa 00 0c 00 29 00 00 00 00 00 00 00 00 00 02");
  EXPECT_EQ(codes[1], 22);
  EXPECT_EQ(texts[2], "[ERROR] unhandled exception\n" + failed +
                          "[ERROR] raw data: 55 aa 00 0c 00 2a 00 00 00 00 00 00 00 00 00 03");
  // With invalidHandling 1 the decoder's InvalidMessage comes back instead of an exception.
  MessageBase::invalidHandling = 1;
  std::unique_ptr<MessageBase> invalid(tmb.getNextMessage());
  ASSERT_NE(dynamic_cast<InvalidMessage*>(invalid.get()), nullptr);
  std::unique_ptr<MessageBase> next(tmb.getNextMessage());
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(next->msgId, MSGID_START);
}

volatile sig_atomic_t alarms = 0;
void onAlarm(int) { alarms = alarms + 1; }

TEST(TraceMessageBufferTest, ReadErrorsEofAndDebugLines) {
  vxtest::RegistryGuard guard;
  Pipe p;
  TraceMessageBuffer tmb(p.r, 32u);
  tmb.name = "pipe";
  tmb.debug = true;
  fcntl(p.r, F_SETFL, O_NONBLOCK);
  {
    vxtest::Capture out(std::cout);
    errno = 0;
    EXPECT_EQ(tmb.read(), 0);
    EXPECT_EQ(errno, EAGAIN);
    std::ostringstream state;
    state << tmb;
    EXPECT_EQ(out.text(), "[DEBUG] TMB::read() pipe: error = EAGAIN: " + state.str() + "\n");
    EXPECT_EQ(state.str().rfind("name = pipe, bufferSize = 32, pbuffer = ", 0), 0u);
  }
  {
    // 16 + 16 bytes fill the buffer; the second frame's head is then moved to the start.
    vxtest::Capture out(std::cout);
    writeAll(p.w, cat({kStart, Bytes(kVersion.begin(), kVersion.begin() + 10)}));
    EXPECT_EQ(tmb.read(), 26);
    writeAll(p.w, Bytes(kVersion.begin() + 10, kVersion.end()));
    EXPECT_EQ(tmb.read(), 6);
    EXPECT_EQ(drain(tmb).size(), 1u);
    EXPECT_EQ(tmb.pDataStart, tmb.pbuffer);
    EXPECT_EQ(tmb.read(), 4);
    EXPECT_EQ(drain(tmb).size(), 1u);
    std::string t = out.text();
    EXPECT_EQ(t.rfind("[DEBUG] TMB::read() 26 Bytes \n[DEBUG] TMB::read() 6 Bytes \n", 0), 0u);
    EXPECT_NE(t.find("[DEBUG] TraceMessageBuffer::reorganizeBuffer (1)\nname = pipe"), t.npos);
    EXPECT_NE(t.find("[DEBUG] TraceMessageBuffer::reorganizeBuffer (2)\nname = pipe"), t.npos);
  }
  tmb.debug = false;
  p.closeWriter();
  EXPECT_EQ(tmb.read(), 0);  // end of file

  // A blocking read interrupted by a signal: -1/EINTR, or retried when asked to.
  Pipe q;
  struct sigaction sa {
  }, oldSa{};
  sa.sa_handler = onAlarm;  // no SA_RESTART
  sigaction(SIGALRM, &sa, &oldSa);
  sigset_t alarmOnly, oldMask;
  sigemptyset(&alarmOnly);
  sigaddset(&alarmOnly, SIGALRM);
  itimerval shot{{0, 0}, {0, 20000}};
  TraceMessageBuffer blocking(q.r);
  setitimer(ITIMER_REAL, &shot, nullptr);
  EXPECT_EQ(blocking.read(), -1);
  EXPECT_EQ(errno, EINTR);
  blocking.retryOnInterrupt = true;
  pthread_sigmask(SIG_BLOCK, &alarmOnly, &oldMask);  // the writer must not take the signal
  std::thread writer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    writeAll(q.w, kStart);
  });
  pthread_sigmask(SIG_SETMASK, &oldMask, nullptr);
  setitimer(ITIMER_REAL, &shot, nullptr);
  EXPECT_EQ(blocking.read(), 16);
  writer.join();
  EXPECT_EQ(alarms, 2);
  sigaction(SIGALRM, &oldSa, nullptr);
}

TEST(TraceMessageBufferTest, OpenReportsMissingFileAndClosesOwnDescriptor) {
  TempDir dir;
  std::string missing = (dir.path / "missing.trc").string();
  TraceMessageBuffer none(missing.c_str());
  errno = 0;
  EXPECT_FALSE(none.open());
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(none.fd, -1);
  EXPECT_EQ(none.getLastError(), "cannot open '" + missing + "': No such file or directory");

  int opened;
  {
    TraceMessageBuffer tmb(dir.path.c_str());
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

// Random valid frames with garbage runs between some of them, fed in random chunks through a
// pipe, and the same stream read from a file: every frame comes out, in order and equal, and
// every garbage run that is more than padding is reported once with its exact length.
TEST(TraceMessageBufferTest, PropertyRandomFramesAndGarbageSurviveChunkedReading) {
  vxtest::RegistryGuard guard;
  std::mt19937_64 rng(20240611);
  auto pick = [&](uint64_t n) { return rng() % n; };
  Messages written;
  std::vector<bool> afterGarbage;
  std::vector<unsigned long long> runLengths;
  Bytes stream;
  for (int i = 0; i < 4000; ++i) {
    bool garbage = pick(4) == 0;
    if (garbage) {
      Bytes run(1 + pick(pick(10) == 0 ? 3000 : 40));
      for (uint8_t& b : run) b = pick(3) == 0 ? 0 : static_cast<uint8_t>(0x56 + pick(0xAA));
      size_t lead = 0;
      while (lead < run.size() && run[lead] == 0) ++lead;
      garbage = lead < run.size();
      if (garbage) runLengths.push_back(run.size() - lead);
      stream.insert(stream.end(), run.begin(), run.end());
    }
    afterGarbage.push_back(garbage);
    unsigned long long ts = rng();
    std::unique_ptr<MessageBase> m;
    switch (pick(5)) {
      case 0:
        m.reset(new SimpleMessage<MSGID_START>(ts));
        break;
      case 1:
        m.reset(new SimpleMessage<MSGID_TIMEJUMP>(ts));
        break;
      case 2: {
        Bytes body(pick(300));
        for (uint8_t& b : body) b = static_cast<uint8_t>(rng());
        m.reset(new StringMessageBase<MSGID_VERSION>(ts, std::string(body.begin(), body.end())));
        break;
      }
      case 3: {
        Bytes data(pick(9));
        for (uint8_t& b : data) b = static_cast<uint8_t>(rng());
        m.reset(new CANTraceMessage(ts, static_cast<uint8_t>(pick(4)), CAN_FRAME_STANDARD, 0,
                                    static_cast<uint32_t>(pick(0x800)), data));
        break;
      }
      case 4: {
        Bytes data(CANTraceMessageBase::numDlcBytes[pick(16)]);
        for (uint8_t& b : data) b = static_cast<uint8_t>(rng());
        m.reset(new CANExtTraceMessage(ts, static_cast<uint8_t>(pick(4)), CAN_FRAME_STANDARD, 0,
                                       CAN_TYPE_FD_EXT, static_cast<uint32_t>(pick(1u << 29)),
                                       data));
        break;
      }
      default:
        m.reset(new StringMessageBase<MSGID_TIMEZONE>(ts, "UTC+" + std::to_string(i)));
    }
    ASSERT_GT(m->createByteArray(stream, true, true), 0u);
    written.push_back(std::move(m));
  }

  auto check = [&](const Messages& got, const std::vector<bool>& skipped, const std::string& err) {
    ASSERT_EQ(got.size(), written.size());
    for (size_t i = 0; i < got.size(); ++i) {
      ASSERT_TRUE(*got[i] == *written[i]) << "frame " << i << ": " << got[i]->toString();
      ASSERT_EQ(got[i]->timeStamp, written[i]->timeStamp) << "frame " << i;
      ASSERT_EQ(skipped[i], afterGarbage[i]) << "frame " << i;
    }
    EXPECT_EQ(count(err, "[WARNING] TraceMessageBuffer::getNextMessageV1()"), runLengths.size());
    std::vector<unsigned long long> reported;
    for (size_t at = err.find("[ERROR] invalid data ("); at != std::string::npos;
         at = err.find("[ERROR] invalid data (", at + 1))
      reported.push_back(std::stoull(err.substr(at + 22)));
    EXPECT_EQ(reported, runLengths);
  };

  {  // pipe, random chunks
    vxtest::Capture err(std::cerr);
    Messages got;
    std::vector<bool> skipped;
    Pipe p;
    fcntl(p.r, F_SETFL, O_NONBLOCK);
    TraceMessageBuffer tmb(p.r, 1024u);
    for (size_t off = 0; off < stream.size();) {
      size_t n = std::min<size_t>(1 + pick(pick(2) ? 64 : 3000), stream.size() - off);
      writeAll(p.w, stream.data() + off, n);
      off += n;
      int r;
      do {
        r = tmb.read();
        ASSERT_GE(r, 0) << "errno " << errno;
        while (MessageBase* m = tmb.getNextMessage()) {
          got.emplace_back(m);
          skipped.push_back(tmb.dataSkipped);
        }
      } while (r > 0);
    }
    check(got, skipped, err.text());
    unsigned long long total = 0;
    for (unsigned long long n : runLengths) total += n;
    EXPECT_EQ(tmb.getSkippedBytes(), total);
    EXPECT_EQ(tmb.getSkippedRuns(), runLengths.size());
  }
  {  // file opened by name, default buffer
    TempDir dir;
    std::string path = (dir.path / "random.trc").string();
    std::FILE* f = std::fopen(path.c_str(), "wb");
    std::fwrite(stream.data(), 1, stream.size(), f);
    std::fclose(f);
    vxtest::Capture err(std::cerr);
    Messages got;
    std::vector<bool> skipped;
    TraceMessageBuffer tmb(path.c_str());
    ASSERT_TRUE(tmb.open());
    while (tmb.read() > 0) {
      while (MessageBase* m = tmb.getNextMessage()) {
        got.emplace_back(m);
        skipped.push_back(tmb.dataSkipped);
      }
    }
    check(got, skipped, err.text());
  }
}

}  // namespace
