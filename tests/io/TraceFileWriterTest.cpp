#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "io/IoTestSupport.h"
#include "support/IoSupport.h"
#include "vxtrace/io/TraceFileWriter.h"

using namespace vxtest;
using vxtrace::TailCut;
using vxtrace::TraceFileWriter;
using Options = vxtrace::TraceFileWriterOptions;
using C = Options::Containers;
using F = TraceFileReader::framing_t;

namespace {

uint32_t crc32(const std::string& bytes) {
  uint32_t c = ~0u;
  for (unsigned char b : bytes)
    for (int k = 0; k < 8; ++k, b >>= 1) c = ((c ^ b) & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
  return ~c;
}

// The file holds records 0..n-1 in order.
void expectNumbered(const std::vector<std::unique_ptr<MessageBase>>& records, uint64_t n) {
  ASSERT_EQ(records.size(), n);
  for (uint64_t i = 0; i < n; ++i) ASSERT_EQ(serialise(*records[i]), serialise(numbered(i))) << i;
}

// The last record closes the file with the CRC-32 of every byte before it.
void expectEndRecord(const ReadBack& r, const std::string& path) {
  ASSERT_EQ(r.top.back()->msgId, MSGID_ENDOFFILE);
  EXPECT_EQ(static_cast<EofMessage&>(*r.top.back()).crc,
            crc32(readFile(path).substr(0, r.starts.back())));
}

}  // namespace

TEST(TraceFileWriterTest, BundlesRotatesAndNamesFilesAndReadsBackEqual) {
  RegistryGuard registry;
  const unsigned size = numbered(0).getSize();  // records are 100 ms apart
  struct Row {
    F framing;
    C containers;
    unsigned count, blockRecords, rotateRecords;
    uint64_t ageUs, rotateUs;
    const char* pattern;     // h...: head and end records
    const char* files;
    std::size_t topInFirst;  // records in the first file, a container counting once
  } rows[] = {
      {F::FRAMING_V1, C::None, 64, 0, 0, 0, 0, "one", "one", 100},
      {F::FRAMING_V2, C::Plain, 10, 0, 0, 0, 0, "c", "c", 10},           // bundles by count
      {F::FRAMING_V1_NOSYNC, C::Lz4, 255, 10, 0, 0, 0, "b", "b", 10},    // by bytes
      {F::FRAMING_V2_NOSYNC, C::Lz4, 255, 0, 0, 500000, 0, "a", "a", 20},  // by age
      {F::FRAMING_V1, C::None, 64, 0, 0, 0, 4000000, "t%H%M%S", "t221320 t221324 t221328", 40},
      {F::FRAMING_V2, C::None, 64, 0, 30, 0, 0, "s-%03d", "s-000 s-001 s-002 s-003", 30},
      {F::FRAMING_V1, C::Plain, 64, 0, 0, 0, 0, "h%%%d", "h%0", 4},
  };
  auto meta =
      std::make_shared<TraceFileMetaInfoMessage>(0, TraceFileMetaInfoMessage::META_TIME_ZONE);
  meta->text = "UTC";
  for (const Row& row : rows) {
    SCOPED_TRACE(row.pattern);
    TempDir dir;
    Options o;
    o.framing = row.framing;
    o.containers = row.containers;
    o.containerRecords = row.count;
    if (row.blockRecords) o.containerBytes = row.blockRecords * (size + 4);
    o.containerAgeUs = row.ageUs;
    o.rotateBytes = row.rotateRecords * (size + 2 + (row.framing == F::FRAMING_V2 ? 4 : 2));
    o.rotateUs = row.rotateUs;
    o.pattern = dir.path(row.pattern);
    const std::vector<std::string> files = split(row.files, ' ');
    o.endRecord = row.files[0] == 'h';
    if (o.endRecord) o.headRecords.push_back(meta);
    {
      TraceFileWriter w(o);
      for (uint64_t i = 0; i < 100; ++i) w.write(numbered(i));
      EXPECT_EQ(w.files(), files.size());
    }
    std::vector<std::unique_ptr<MessageBase>> all;
    for (std::size_t f = 0; f < files.size(); ++f) {
      const std::string path = dir.path(files[f]);
      ReadBack r = readBack(path, row.framing);
      EXPECT_TRUE(r.losses.empty());
      EXPECT_TRUE(f != 0 || r.top.size() == row.topInFirst) << r.top.size();
      EXPECT_TRUE(row.containers != C::Lz4 || r.compressed == static_cast<int>(r.top.size()));
      if (o.endRecord) {
        EXPECT_TRUE(*r.top.front() == *meta);
        EXPECT_EQ(r.top.front()->timeStamp, r.top[1]->timeStamp);
        expectEndRecord(r, path);
      }
      for (auto& m : r.records) all.push_back(std::move(m));
    }
    expectNumbered(all, 100);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.dir), {}),
              static_cast<long>(files.size()));
  }
}

TEST(TraceFileWriterTest, AppendCutsTheTornTailOfATraceOnlyReportsItAndGoesOn) {
  RegistryGuard registry;
  const int inner = static_cast<int>(numbered(0).getSize()) + 4;
  struct Row {
    const char* what;
    C containers;
    int cutAfter;  // truncate this many bytes after the end of the fourth container; -1: none
    bool garbage;  // bytes of no record after the end record
    uint64_t kept, recordsInCut;
  } rows[] = {
      {"closed cleanly", C::Lz4, -1, false, 50, 0},
      {"torn inside a container", C::Lz4, 20, false, 40, 0},
      {"torn after whole frames of a plain container", C::Plain, 31 + 3 * inner, false, 40, 3},
      {"garbage after the end record", C::Plain, -1, true, 50, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    TempDir dir;
    Options o;
    o.containers = row.containers;
    o.containerRecords = 10;
    o.endRecord = true;
    o.pattern = dir.path("a-%d.vxt");
    const std::string path = dir.path("a-0.vxt");
    {
      TraceFileWriter w(o);
      for (uint64_t i = 0; i < 50; ++i) w.write(numbered(i));
    }
    const ReadBack before = readBack(path, o.framing);
    if (row.cutAfter >= 0) std::filesystem::resize_file(path, before.ends[3] + row.cutAfter);
    if (row.garbage) std::ofstream(path, std::ios::app) << std::string(100, 'U');
    const uint64_t size = std::filesystem::file_size(path);
    std::vector<TailCut> cuts;
    o.existing = Options::Existing::Append;
    {
      TraceFileWriter w(o, [&](const TailCut& c) { cuts.push_back(c); });
      cuts.insert(cuts.end(), w.tailCuts().begin(), w.tailCuts().end());
      ASSERT_EQ(cuts.size(), 2u);  // reported, and kept
      for (const TailCut& c : cuts)
        EXPECT_EQ(std::tie(c.path, c.offset, c.length, c.records, c.endRecord),
                  std::make_tuple(path, before.ends[row.kept / 10 - 1], size - c.offset,
                                  row.recordsInCut, row.kept == 50));
      for (uint64_t i = row.kept; i < row.kept + 5; ++i) w.write(numbered(i));
    }
    const ReadBack after = readBack(path, o.framing);
    EXPECT_TRUE(after.losses.empty());
    expectEndRecord(after, path);
    expectNumbered(after.records, row.kept + 5);
    EXPECT_FALSE(std::filesystem::exists(dir.path("a-1.vxt")));
  }
  // An existing first file is refused, replaced, or appended to only when it is a trace.
  TempDir dir;
  Options o;
  o.pattern = dir.path("x.vxt");
  writeFile(o.pattern, Bytes(40, 'x'));
  EXPECT_THROW(TraceFileWriter{o}, std::system_error);
  o.existing = Options::Existing::Append;
  EXPECT_THROW(TraceFileWriter{o}, std::runtime_error);
  EXPECT_EQ(readFile(o.pattern), std::string(40, 'x'));
  o.existing = Options::Existing::Replace;
  TraceFileWriter(o).write(numbered(0));
  expectNumbered(readBack(o.pattern, o.framing).records, 1);
  o.rotateBytes = 1000;
  EXPECT_THROW(TraceFileWriter{o}, std::invalid_argument);  // rotation without %d or a time
}

// A child writes, syncing after each container, and reports through a pipe how many records
// are synced; it is killed at a random point. Every other file then gets the head of one more
// container, as a write the kill cut short leaves it. Every reported record must be in the file,
// only the torn tail may be lost, and append must resume the file so that it reads clean.
TEST(TraceFileWriterTest, KilledWriterKeepsEverySyncedRecordAndAppendResumes) {
  RegistryGuard registry;
  TempDir dir(std::filesystem::exists("/dev/shm") ? "/dev/shm"
                                                  : std::filesystem::temp_directory_path());
  std::mt19937 rng(20240314);
  int torn = 0;
  for (int run = 0; run < 20; ++run) {
    SCOPED_TRACE(run);
    Options o;
    o.containers = run % 4 < 2 ? C::Lz4 : C::Plain;
    o.containerRecords = 1 + rng() % 64;
    o.flush = Options::Flush::FsyncAfterContainer;
    o.pattern = dir.path("kill-" + std::to_string(run) + ".vxt");
    const uint64_t target = 1 + rng() % 4000;
    Pipe pipe;
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      TraceFileWriter w(o);
      for (uint64_t i = 0, reported = 0; i < 10000000; ++i) {
        w.write(numbered(i));
        if (w.recordsSynced() == reported) continue;
        reported = w.recordsSynced();
        if (::write(pipe.w, &reported, sizeof reported) != sizeof reported) _exit(1);
      }
      _exit(2);
    }
    pipe.closeWriter();
    uint64_t synced = 0, value = 0;
    while (synced < target && ::read(pipe.r, &value, sizeof value) == sizeof value) synced = value;
    ::usleep(rng() % 2000);
    ::kill(pid, SIGKILL);
    int status = 0;
    ::waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    while (::read(pipe.r, &value, sizeof value) == sizeof value) synced = value;
    if (run % 2) {
      std::vector<std::unique_ptr<MessageBase>> more;
      for (int i = 0; i < 10; ++i) more.emplace_back(numbered(1000000 + i).clone());
      const Bytes whole = serialise(ContainerMessage(run % 4 == 1, std::move(more)), true);
      std::ofstream(o.pattern, std::ios::app | std::ios::binary)
          .write(reinterpret_cast<const char*>(whole.data()), 1 + rng() % (whole.size() - 1));
    }

    const ReadBack killed = readBack(o.pattern, o.framing);
    o.existing = Options::Existing::Append;
    uint64_t kept = 0;
    {
      TraceFileWriter w(o);
      const uint64_t cutAt = w.tailCuts().empty() ? ~0ull : w.tailCuts()[0].offset;
      torn += !w.tailCuts().empty();
      for (const auto& loss : killed.losses) EXPECT_GE(loss.offset, cutAt);
      for (std::size_t i = 0; i < killed.top.size() && killed.ends[i] <= cutAt; ++i)
        kept += static_cast<ContainerMessage&>(*killed.top[i]).numOfMsg;
      EXPECT_GE(kept, synced);
      for (uint64_t i = kept; i < kept + 10; ++i) w.write(numbered(i));
    }
    const ReadBack resumed = readBack(o.pattern, o.framing);
    EXPECT_TRUE(resumed.losses.empty());
    expectNumbered(resumed.records, kept + 10);
    std::filesystem::remove(o.pattern);
  }
  EXPECT_GE(torn, 10);
}
