#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>

#include "support/IoSupport.h"
#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

// clang-format off
const RecordCase kMarkerCases[] = {
    // The three generations: header only, number only, number and time.
    {0, "", TS "  MARKER", 22, vxtest::kDecodes, "00 00 00 00 00 00 00 00 00 00"},
    {0, "00 07", TS "  MARKER      | #7  1970-01-01 00:00:00.000000", 22, vxtest::kDecodes,
     "00 07 00 00 00 00 00 00 00 00"},
    {0, "FF FF 00 00 00 00 00 16 E3 60", TS "  MARKER      | #65535  1970-01-01 00:00:01.500000", 22},
    // Longer frames keep the known fields.
    {0, "00 02 00 00 00 00 00 16 E3 60 AA BB", TS "  MARKER      | #2  1970-01-01 00:00:01.500000",
     22, vxtest::kDecodes, "00 02 00 00 00 00 00 16 E3 60"},
    // Number 0: no number and no time printed.
    {0, "00 00 00 00 00 00 00 16 E3 60", TS "  MARKER", 22},
    {0, "00", nullptr, -1, invalidLength, nullptr, true, "Invalid MarkerMessage length"},
};
// clang-format on

TEST(MarkerMessage, DecodesEachGenerationAndRejectsOtherLengths) {
  vxtest::checkRecordCases(kMarkerCases);
  // Only the number is compared.
  EXPECT_TRUE(MarkerMessage(1, 5, 100) == MarkerMessage(2, 5, 200));
  EXPECT_FALSE(MarkerMessage(1, 5, 100) == MarkerMessage(1, 6, 100));
}

TEST(MarkerFile, ThrottlesMarkersByWallClockAndWritesExactEventLines) {
  vxtest::TempDir dir;
  MarkerFile mf(dir.path("Events"), dir.path("cnt"));
  std::time_t wallClock = 0;
  mf.setClock([&] { return wallClock; });
  const MarkerMessage marker(1704110400123456ULL, 1, 0);  // 2024-01-01 12:00:00.123456
  const SimpleMessage<MSGID_STARTUP> startup(1704110401999999ULL);
  vxtest::Capture out(std::cout);
  const std::pair<std::time_t, bool> steps[] = {{10, true}, {11, false}, {13, true}, {16, true}};
  for (const auto& [now, written] : steps) {
    wallClock = now;
    EXPECT_EQ(mf.checkWriteMessage(&marker), written) << now;
    EXPECT_FALSE(mf.checkWriteMessage(&startup)) << now;  // written, but never throttled
  }
  // The clock set back: nothing written, the interval starts again from there.
  wallClock = 5;
  EXPECT_FALSE(mf.checkWriteMessage(vxtest::serialise(marker)));
  EXPECT_EQ(mf.lastMarkerWrite, 5);
  wallClock = 8;
  EXPECT_TRUE(mf.checkWriteMessage(vxtest::serialise(marker)));
  EXPECT_FALSE(mf.checkWriteMessage(Bytes{0, 0}));  // shorter than a header: ignored
  mf.writeEventFile(MSGID_SHUTDOWN, 0);
  mf.writeEventFile(MSGID_CAN, 0);  // no line
  mf.logOffset(1500000, -120);
  mf.logSlaveToMaster(2000);
  mf.writeToken("Note", 0, "extra text");
  const std::string m = "Marker 20240101_120000.123 \n", s = "Startup 20240101_120001.999 \n";
  EXPECT_EQ(vxtest::readFile(dir.path("Events")),
            m + s + s + m + s + m + s + m + "Shutdown 19700101_000000.000 \n" +
                "SlaveOffset -120 19700101_000001.500 \nSlaveToMaster 19700101_000000.002 \n"
                "Note 19700101_000000.000 extra text\n");
  const std::string info = out.text();
  EXPECT_EQ(info.substr(0, info.find('\n')), "[INFO] Marker appended to " + dir.path("Events"));
  EXPECT_NE(info.find("[INFO] Note (extra text) appended to " + dir.path("Events") + "\n"),
            std::string::npos);
  // Blocks allocated x their size in KiB: at least one whole block for a short file.
  const uint32_t kib = mf.getFileSize();
  EXPECT_GE(kib, 4u);
  EXPECT_EQ(kib % 4, 0u);
}

TEST(MarkerFile, CounterRunsFromOneToMaxAndWrapsWithFileErrorsReported) {
  vxtest::TempDir dir;
  MarkerFile mf(dir.path("Events"), dir.path("markerCnt.dat"));
  EXPECT_FALSE(mf.existMarkerCounterFile());
  EXPECT_EQ(mf.getCurrentMarkerValue(), 0);
  EXPECT_EQ(mf.getMarkerCnt(), 1);  // a missing file counts as 0
  EXPECT_TRUE(mf.existMarkerCounterFile());
  EXPECT_EQ(vxtest::readFile(dir.path("markerCnt.dat")), "1\n");
  EXPECT_EQ(mf.getMarkerCnt(), 2);
  mf.setCurrentMarkerValue(65534);
  EXPECT_EQ(mf.getMarkerCnt(), 65535);
  EXPECT_EQ(mf.getMarkerCnt(), 1);
  EXPECT_EQ(vxtest::readFile(dir.path("markerCnt.dat")), "1\n");
  // Nothing left beside the counter by the atomic replacement.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.dir),
                          std::filesystem::directory_iterator()),
            1);
  for (const char* junk : {"abc\n", "70000\n", "-3\n", ""}) {
    vxtest::writeFile(dir.path("markerCnt.dat"), Bytes(junk, junk + std::strlen(junk)));
    EXPECT_EQ(mf.getCurrentMarkerValue(), 0) << junk;
  }
  // A directory that does not exist: each failure is one error line, no exception.
  MarkerFile lost(dir.path("no/Events"), dir.path("no/cnt"));
  vxtest::Capture err(std::cerr);
  EXPECT_EQ(lost.getMarkerCnt(), 1);
  lost.writeEventFile(MSGID_MARKER, 0);
  EXPECT_EQ(lost.getFileSize(), 0u);
  EXPECT_EQ(err.text(), "[ERROR] Cannot open " + dir.path("no/cnt") + "\n" +
                            "[ERROR] Cannot open event file '" + dir.path("no/Events") +
                            "': No such file or directory\n" + "[ERROR] cannot determine size of " +
                            dir.path("no/Events") + "\n");
  // A device that takes no data: the line is reported with the system's reason.
  vxtest::Capture full(std::cerr);
  MarkerFile(std::string("/dev/full"), dir.path("cnt")).writeEventFile(MSGID_MARKER, 0);
  EXPECT_EQ(full.text(),
            "[ERROR] Cannot write 'Marker 19700101_000000.000 \n' to eventFile: "
            "No space left on device\n");
}
