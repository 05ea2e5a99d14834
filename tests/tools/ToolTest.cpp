// The vxtrace tool run as a process on generated traces; expectations come from the library's
// own records and texts, built in this process from the same generator.
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <tuple>

#include "ToolFixture.h"

using vxtest::countOf;
namespace {

// The channel label dump prints: "CAN #1" for the library's "CAN #0".
std::string label(const MessageBase& m) {
  std::string name = m.getSourceChannel();
  const std::size_t hash = name.rfind(" #");
  if (hash == std::string::npos) return name;
  return name.substr(0, hash + 2) + std::to_string(std::stoul(name.substr(hash + 2)) + 1);
}

}  // namespace

TEST_F(ToolTest, GenAndDumpReproduceTheLibrarysRecordsAndTexts) {
  for (Framing framing : {Framing::V1, Framing::V2}) {
    const bool v2 = framing == Framing::V2;
    SCOPED_TRACE(v2 ? "V2" : "V1");
    auto withFraming = [&](Args args) {
      if (v2) args.push_back("--v2");
      return args;
    };
    Trace t = makeTrace(2500, 3, framing);
    Result r = run(withFraming({"gen", "--records", "2500", "--seed", "3", path("t.vxt")}));
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(vxtest::readFile(path("t.vxt")), std::string(t.bytes.begin(), t.bytes.end()));

    r = run(withFraming({"dump", path("t.vxt")}));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, texts(t));

    // From standard input, with each frame's bytes (marker included) after its line.
    r = run(withFraming({"dump", "-", "--raw"}), path("t.vxt"));
    EXPECT_EQ(r.status, 0) << r.err;
    std::string expected;
    for (std::size_t i = 0; i < t.records.size(); ++i) {
      expected += shown(*t.records[i]) + "\n  raw:";
      char byte[4];
      for (std::size_t b = t.spans[i].first; b < t.spans[i].second; ++b)
        expected.append(byte, std::snprintf(byte, sizeof byte, " %02x", t.bytes[b]));
      expected += "\n";
    }
    EXPECT_EQ(r.out, expected);

    // The same frames without their sync markers.
    Bytes bare;
    for (const auto& [begin, end] : t.spans) {
      ASSERT_EQ(t.bytes[begin], v2 ? 'Z' : 0x55);
      bare.insert(bare.end(), t.bytes.begin() + begin + (v2 ? 1 : 2), t.bytes.begin() + end);
    }
    r = run(withFraming({"dump", file("bare.vxt", bare), "--no-sync"}));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, texts(t));
    // Each framing is also found without being named.
    for (const char* name : {"t.vxt", "bare.vxt"}) {
      const bool marked = std::string(name) == "t.vxt";
      r = run({"stats", path(name), "--verbose"});
      EXPECT_EQ(r.status, 0) << r.err;
      EXPECT_EQ(r.err, "vxtrace: " + path(name) + ": " + (v2 ? "V2 framing" : "V1 framing") +
                           (marked ? (v2 ? " ('Z' markers)" : " (55 AA markers)")
                                   : " without markers") +
                           " (detected)\n");
      EXPECT_TRUE(Has(r.out, "Records:               2500\n"));
    }
  }
}

TEST_F(ToolTest, GenDiagWritesTheSessionAndDumpPrintsKwpAndUdsOnlyWhenRegistered) {
  const unsigned long long start = TraceOptions().startTime;
  const Bytes bytes = vxtrace::gen::generateDiagnosticTrace(start, Framing::V1);
  Result r = run({"gen", "--diag", path("d.vxt")});
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(vxtest::readFile(path("d.vxt")), std::string(bytes.begin(), bytes.end()));

  // Expected lines from the library: the session's records and the closing end-of-file record.
  std::string all, unregistered;
  std::set<uint16_t> kinds;
  for (const auto& m : vxtrace::gen::diagnosticSession(start)) {
    kinds.insert(m->msgId);
    const bool diag = m->msgId >= MSGID_KWP2000_REQUEST && m->msgId <= MSGID_UDS_RESPONSE;
    all += shown(*m) + "\n";
    if (!diag) unregistered += shown(*m) + "\n";
  }
  EXPECT_EQ(kinds.size(), 7u);  // CCP twice, XCP, KWP2000 and UDS requests and responses
  std::unique_ptr<MessageBase> eof(
      MessageBase::readFromByteArray(bytes.data() + bytes.size() - 18, 18));
  ASSERT_NE(eof, nullptr);
  const std::string eofLine = shown(*eof) + "\n";

  r = run({"dump", "--register-diag", path("d.vxt")});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, all + eofLine);

  // recover keeps them too when asked to decode them.
  r = run({"recover", "--register-diag", path("d.vxt"), "-o", path("r.vxt")});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(vxtest::readFile(path("r.vxt")), std::string(bytes.begin(), bytes.end()));

  r = run({"dump", path("d.vxt")});
  EXPECT_NE(r.status, 0);
  EXPECT_EQ(r.out, unregistered + eofLine);
  EXPECT_TRUE(Has(r.err, "7 undecodable frames"));
}

TEST_F(ToolTest, CorruptTraceIsDumpedWholeWithReportsCountsAndExitOne) {
  Trace t = makeTrace(300, 5);
  // A frame whose identifier (15) has no record class.
  const Bytes unknown = {0x55, 0xAA, 0x00, 0x0C, 0x00, 0x0F, 0x00, 0x00,
                         0x00, 0x06, 0x13, 0x9B, 0x7D, 0xE0, 0xB1, 0x41};
  // After record 10 five bytes of garbage (a lone 0x55 is no marker), after 20 zero padding
  // (skipped silently), after 40 three bytes of garbage, after 60 the unknown frame.
  const std::map<std::size_t, Bytes> inserts = {{10, {0x13, 0x55, 0x42, 0x99, 0x01}},
                                                {20, {0, 0, 0, 0}},
                                                {40, {0xAB, 0xCD, 0xEF}},
                                                {60, unknown}};
  Bytes bytes;
  std::size_t unknownAt = 0;
  for (std::size_t i = 0; i < t.records.size(); ++i) {
    bytes.insert(bytes.end(), t.bytes.begin() + t.spans[i].first,
                 t.bytes.begin() + t.spans[i].second);
    if (i == 60) unknownAt = bytes.size();
    if (inserts.count(i)) bytes.insert(bytes.end(), inserts.at(i).begin(), inserts.at(i).end());
  }
  const std::size_t lastFrame = bytes.size() - (t.spans.back().second - t.spans.back().first);
  bytes.resize(bytes.size() - 3);  // the end-of-file frame loses its last 3 bytes
  const std::size_t truncated = bytes.size() - lastFrame;
  const std::string bad = file("bad.vxt", bytes);

  Result r = run({"dump", bad});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, texts(t, [&](const MessageBase& m) { return &m != t.records.back().get(); }));
  const std::size_t run1 = t.spans[10].second, run2 = t.spans[40].second + 5 + 4;
  EXPECT_TRUE(Has(r.err, "vxtrace: " + bad + ": invalid data (5 bytes) skipped at offset " +
                             std::to_string(run1) + ": 13 55 42 99 01\n"));
  EXPECT_TRUE(Has(r.err, "vxtrace: " + bad + ": invalid data (3 bytes) skipped at offset " +
                             std::to_string(run2) + ": ab cd ef\n"));
  EXPECT_TRUE(Has(r.err, "vxtrace: " + bad + ": undecodable frame at offset " +
                             std::to_string(unknownAt) +
                             " (16 bytes): 55 aa 00 0c 00 0f 00 00 00 06 13 9b 7d e0 b1 41\n"));
  EXPECT_TRUE(Has(r.err, "vxtrace: " + bad + ": truncated frame at end of input (" +
                             std::to_string(truncated) + " bytes at offset " +
                             std::to_string(lastFrame) + "): 55 aa"));
  const std::string summary = "vxtrace: " + bad + ": " + std::to_string(8 + 16 + truncated) +
                              " bytes dropped: 1 undecodable frame, 8 bytes of invalid data in 2 "
                              "runs, truncated last frame (" +
                              std::to_string(truncated) + " bytes)\n";
  EXPECT_EQ(r.err.substr(r.err.size() - summary.size()), summary);
  EXPECT_EQ(countOf(r.err, "\n"), 5u);
  r = run({"dump", bad, "--quiet"});
  EXPECT_EQ(r.err, summary);
  r = run({"dump", bad, "--verbose"});
  EXPECT_TRUE(Has(r.err, "vxtrace: " + bad + ": V1 framing (55 AA markers) (detected)\n"));

  // With --invalid the unknown frame is a line of its own, in place.
  MessageBase::invalidHandling = 1;
  std::unique_ptr<MessageBase> invalid(MessageBase::readFromByteArray(
      unknown.data() + 2, static_cast<unsigned>(unknown.size() - 2)));
  MessageBase::invalidHandling = 6;
  ASSERT_NE(invalid, nullptr);
  std::string expected;
  for (std::size_t i = 0; i + 1 < t.records.size(); ++i)
    expected += shown(*t.records[i]) + "\n" + (i == 60 ? shown(*invalid) + "\n" : "");
  r = run({"dump", bad, "--invalid"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, expected);
  EXPECT_EQ(r.err.find("undecodable frame at offset"), std::string::npos);

  r = run({"stats", bad, "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(Has(r.out, "\"records\": 299,"));
  EXPECT_TRUE(Has(r.out, "\"garbage_bytes\": 8,\n  \"garbage_runs\": 2,\n  \"truncated_bytes\": " +
                             std::to_string(truncated) + ",\n  \"undecodable_frames\": 1,"));
  EXPECT_EQ(r.err, summary);  // the reader's own reports stay out of the summary

  // Garbage after the last frame: too short for the sync hunt, and long enough for it.
  Trace t3 = makeTrace(30, 6);
  for (std::size_t n : {2u, 100u}) {
    Bytes tail = t3.bytes;
    tail.insert(tail.end(), n, 0x77);
    const std::string tailFile = file("tail.vxt", tail);
    r = run({"stats", tailFile, "--json"});
    EXPECT_EQ(r.status, 1) << n;
    EXPECT_TRUE(Has(r.out, "\"garbage_bytes\": " + std::to_string(n) +
                               ",\n  \"garbage_runs\": 1,\n  \"truncated_bytes\": 0,"));
    r = run({"dump", tailFile});
    EXPECT_EQ(r.out, texts(t3));
    EXPECT_TRUE(Has(
        r.err, "0 undecodable frames, " + std::to_string(n) + " bytes of invalid data in 1 run\n"));
  }

  // The second framing drops garbage silently; the tool still finds, reports and counts it.
  Trace t2 = makeTrace(50, 5, Framing::V2);
  Bytes v2 = t2.bytes;
  v2.insert(v2.begin() + t2.spans[5].second, {0x01, 0x02, 0x03, 0x04});
  r = run({"dump", file("bad2.vxt", v2), "--v2"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, texts(t2));
  EXPECT_TRUE(Has(r.err, "invalid data (4 bytes) skipped at offset " +
                             std::to_string(t2.spans[5].second) + ": 01 02 03 04\n"));
  // Detected without --v2; forced the wrong way, it says what the data looks like.
  EXPECT_EQ(run({"dump", file("bad2.vxt", v2)}).out, texts(t2));
  r = run({"dump", file("t3.vxt", t3.bytes), "--v2"});
  EXPECT_EQ(r.out, "");
  EXPECT_TRUE(Has(r.err, "nothing decodable in V2 framing ('Z' markers); the data looks like "
                         "V1 framing (55 AA markers) (no framing option)\n"));
}

TEST_F(ToolTest, UsageAndIoErrorsExitTwoWithOneLine) {
  const std::string missing = path("x.vxt"), noDir = path("no/such/dir/out.vxt");
  const std::string trace = file("t.vxt", makeTrace(20).bytes);
  const std::string cannotOpen =
      "vxtrace: cannot open '" + missing + "': No such file or directory\n";
  // An empty text: any one line that starts with "vxtrace: ".
  const std::pair<Args, std::string> rows[] = {
      {{"dump", missing}, cannotOpen},
      {{"stats", missing}, cannotOpen},
      {{"gen", noDir}, "vxtrace: cannot create '" + noDir + "': No such file or directory\n"},
      {{"dump", trace, "--from", "yesterday"},
       "vxtrace: invalid time for --from: 'yesterday' (expected YYYY-MM-DD HH:MM:SS[.ffffff] in "
       "UTC, or microseconds)\n"},
      {{"dump", trace, "--from", "2024-13-01 00:00:00"}, ""},
      {{"dump", trace, "--id", "MSGID_NOSUCH"}, ""},
      {{"dump", trace, "--bogus"}, ""},
      {{"convert", trace, "--to", "xls", "-o", path("o")}, ""},
      {{"gen", path("g.vxt"), "--records", "-1"}, ""},
      {{"gen", path("g.vxt"), "--records", "18446744073709551616"}, ""},
      {{"gen", path("g.vxt"), "--records", "1000000001"}, ""},
      {{"gen", path("g.vxt"), "--seed", "12x"}, ""},
      {{"dump", trace, "--count", "-5"}, ""},
      {{"stats", trace, "--threads", "0"},
       "vxtrace: invalid value for --threads: '0' (a whole number from 1 to 256)\n"},
      {{"info", trace, "--threads", "257"}, ""},
      {{"stats", trace, "--quiet", "--verbose"}, ""},
      {{"dump", trace, "--from", "2024-01-02 00:00:00", "--to", "2024-01-01 00:00:00"}, ""},
      {{"convert", trace, "--to", "candump", "-o", trace},
       "vxtrace: output '" + trace + "' is the input '" + trace + "': refusing to overwrite it\n"},
      {{"recover", trace, "-o", path("link.vxt")}, ""},
      {{"frobnicate"},
       "vxtrace: unknown verb 'frobnicate' (dump, stats, info, filter, merge, convert, recover, "
       "report, gen, help)\n"},
      {{}, ""}};
  ASSERT_EQ(symlink(trace.c_str(), path("link.vxt").c_str()), 0);  // the input by another name
  for (const auto& [args, text] : rows) {
    SCOPED_TRACE(testing::PrintToString(args));
    Result r = run(args);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err.rfind("vxtrace: ", 0), 0u) << r.err;
    EXPECT_EQ(countOf(r.err, "\n"), 1u) << r.err;
    EXPECT_TRUE(text.empty() || r.err == text) << r.err;
  }
  // Standard output that cannot take the records (a full disk) is an I/O error too.
  const std::string full = VXTRACE_CLI " dump '" + trace + "' >/dev/full 2>'" + path("err") + "'";
  const int status = std::system(full.c_str());
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2);
  EXPECT_EQ(vxtest::readFile(path("err")),
            "vxtrace: cannot write 'standard output': No space left on device\n");
  // Nothing was written over the input or next to it.
  EXPECT_EQ(vxtest::readFile(trace), vxtest::readFile(path("link.vxt")));
  EXPECT_EQ(vxtest::readFile(trace).size(), makeTrace(20).bytes.size());
  EXPECT_EQ(std::filesystem::exists(path("g.vxt")), false);
}

TEST_F(ToolTest, RecoverCopiesACleanTraceAndAFailedRunKeepsTheOldOutput) {
  Trace t = makeTrace(400, 4);
  const std::string out = path("clean.vxt");
  Result r = run({"recover", file("t.vxt", t.bytes), "-o", out});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(vxtest::readFile(out), std::string(t.bytes.begin(), t.bytes.end()));

  // An input that cannot be read: the existing output stays as it was, no temporary is left.
  const std::string existing = file("existing.log", Bytes{'k', 'e', 'e', 'p'});
  r = run({"convert", dir_.dir.string(), "--to", "candump", "-o", existing});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(vxtest::readFile(existing), "keep");
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir_.dir)) files += entry.is_regular_file();
  EXPECT_EQ(files, 5u);  // t, clean, existing, out, err
}

TEST_F(ToolTest, FiltersSelectExactlyTheMatchingRecordsAndLocalTimeRewritesThePrefix) {
  Trace t = makeTrace(6000, 9);
  const std::string trace = file("t.vxt", t.bytes);
  const unsigned long long start = t.records.front()->timeStamp;

  Result r = run({"dump", trace, "--id", "MSGID_CAN", "--id", "11"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, texts(t, [](const MessageBase& m) {
              return m.msgId == MSGID_CAN || m.msgId == MSGID_CAN_EXT;
            }));
  r = run({"dump", trace, "--id", "0xFF", "--id", "MSGID_FILETIME"});
  EXPECT_EQ(r.out, texts(t, [](const MessageBase& m) {
              return m.msgId == MSGID_ENDOFFILE || m.msgId == MSGID_FILETIME;
            }));
  EXPECT_EQ(countOf(r.out, "\n"), 2u);
  r = run({"dump", trace, "--id", "MSGID_SYSTEMMESSAGE"});
  EXPECT_EQ(r.out, texts(t, [](const MessageBase& m) { return m.msgId == MSGID_SYSTEMMESSAGE; }));
  EXPECT_TRUE(Has(r.out, "  SYSTEM MSG  | [USAGE] "));

  r = run({"dump", trace, "--channel", "can#1"});
  EXPECT_EQ(r.out, texts(t, [](const MessageBase& m) { return m.getSourceChannel() == "CAN #0"; }));
  EXPECT_GT(countOf(r.out, "\n"), 100u);
  EXPECT_TRUE(Has(r.out, "Rx   2f0  8 ")) << "no proxy frame on CAN #0";
  for (const char* channel : {"TTY #1", "TTY #2", "ECL", "CCP_XCP #1"}) {
    r = run({"dump", trace, "--channel", channel});
    const std::string expected = texts(t, [&](const MessageBase& m) { return label(m) == channel; });
    EXPECT_EQ(r.out, expected) << channel;
    EXPECT_GT(countOf(expected, "\n"), 1u) << channel;
  }

  // 09:26:53.5 UTC to one second after the session's start, both ends included.
  const unsigned long long from = start + 500000, to = start + 1000000;
  r = run({"dump", trace, "--from", "2024-03-14 09:26:53.5", "--to", std::to_string(to)});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, texts(t, [&](const MessageBase& m) {
              return m.timeStamp >= from && m.timeStamp <= to;
            }));
  EXPECT_GT(countOf(r.out, "\n"), 100u);

  // A filter value that matches nothing in the whole input is named.
  r = run({"dump", trace, "--channel", "CAN #1", "--channel", "CAN #9", "--id", "15"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "vxtrace: warning: --id '15' matches no record in " + trace +
                       "\nvxtrace: warning: --channel 'CAN #9' matches no record in " + trace +
                       "\n");

  r = run({"dump", "--id", "11", "--channel", "CAN #3", "--count", "3", trace});
  int left = 3;
  EXPECT_EQ(r.out, texts(t, [&](const MessageBase& m) {
              return m.msgId == MSGID_CAN_EXT && m.getSourceChannel() == "CAN #2" && left-- > 0;
            }));
  EXPECT_EQ(countOf(r.out, "\n"), 3u);

  // --local-time rewrites only the leading time stamp: the file time record's own date stays UTC.
  r = run({"dump", trace, "--local-time"}, "/dev/null", "TZ=XST-3");
  EXPECT_EQ(r.status, 0);
  std::string expected;
  for (const auto& rec : t.records) {
    std::string line = shown(*rec);
    expected +=
        line.replace(0, 26, MessageBase::printTimestamp(rec->timeStamp + 3 * 3600000000ULL));
    expected += "\n";
  }
  EXPECT_EQ(r.out, expected);
  EXPECT_TRUE(Has(r.out, "= 2024-03-14 09:26:53.000000"));
}

TEST_F(ToolTest, ContainerTracesCarryTheSameTrafficAndAreExpandedByDumpStatsAndConvert) {
  using vxtrace::gen::Containers;
  const Trace flat = makeTrace(1500, 4);
  const std::string flatFile = file("flat.vxt", flat.bytes);
  Result plainDump = run({"dump", flatFile});
  Result plainCandump = run({"convert", flatFile, "--to", "candump", "-o", "-"});
  ASSERT_EQ(plainCandump.status, 0) << plainCandump.err;
  for (const char* mode : {"plain", "lz4"}) {
    SCOPED_TRACE(mode);
    const bool lz4 = std::string(mode) == "lz4";
    const Trace t = makeTrace(1500, 4, Framing::V1, lz4 ? Containers::Lz4 : Containers::Plain);
    Result r = run({"gen", "--records", "1500", "--seed", "4",
                    lz4 ? "--containers" : "--containers=plain", path("c.vxt")});
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(vxtest::readFile(path("c.vxt")), std::string(t.bytes.begin(), t.bytes.end()));
    std::size_t containers = 0, biggest = 0;
    for (const auto& rec : t.records) {
      auto* c = dynamic_cast<const ContainerMessage*>(rec.get());
      if (c == nullptr) continue;
      ++containers;
      biggest = std::max<std::size_t>(biggest, c->numOfMsg);
      EXPECT_EQ(c->compression, lz4);
    }
    EXPECT_GT(containers, 10u);
    // At most 64 a container; status and input records between bus records end one early.
    EXPECT_LE(biggest, 64u);
    EXPECT_GT(biggest, 16u);
    EXPECT_LT(t.bytes.size(), flat.bytes.size() * (lz4 ? 90 : 106) / 100);

    // Expanded, and with the container lines taken out, the dump is the flat trace's.
    r = run({"dump", path("c.vxt")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    std::string inner, outer;
    std::size_t lines = 0;
    for (std::size_t at = 0, nl; (nl = r.out.find('\n', at)) != std::string::npos; at = nl + 1) {
      const std::string line = r.out.substr(at, nl + 1 - at);
      ++lines;
      (line.find("  CONTAINER   | ") != std::string::npos ? outer : inner) += line;
    }
    // All but the end-of-file record, whose checksum covers the container frames.
    const std::size_t eofLine = plainDump.out.rfind('\n', plainDump.out.size() - 2);
    EXPECT_TRUE(inner.compare(0, eofLine, plainDump.out, 0, eofLine) == 0);
    EXPECT_EQ(lines, 1500 + containers);
    r = run({"dump", path("c.vxt"), "--no-expand"});
    EXPECT_EQ(r.out, texts(t));
    EXPECT_EQ(countOf(r.out, "  CONTAINER   | "), containers);

    r = run({"stats", path("c.vxt"), "--json"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(Has(r.out, "\"records\": " + std::to_string(t.records.size()) + ","));
    EXPECT_TRUE(Has(r.out, "\"contained_records\": " +
                               std::to_string(1500 + containers - t.records.size()) + ","));
    EXPECT_TRUE(Has(r.out, "\"MSGID_CONTAINER\": " + std::to_string(containers)));
    std::map<std::string, uint64_t> perId;
    for (const auto& rec : flat.records) ++perId[getMsgIdName(rec->msgId)];
    for (const auto& [name, n] : perId)
      EXPECT_TRUE(Has(r.out, "\"" + name + "\": " + std::to_string(n)));
    const std::string n = std::to_string(containers);
    EXPECT_TRUE(Has(run({"info", path("c.vxt"), "--json"}).out,
                    "\"containers\": {\"count\": " + n + ", \"plain\": " + (lz4 ? "0" : n) +
                        ", \"lz4\": " + (lz4 ? n : "0") + ", \"records\": " +
                        std::to_string(1500 + containers - t.records.size()) + "}"));

    r = run({"convert", path("c.vxt"), "--to", "candump", "-o", "-"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, plainCandump.out);
  }
}

TEST_F(ToolTest, GenRemoteWritesARequestResponseSessionThatDumpPrints) {
  Result r = run({"gen", "--remote", path("r.vxt")});
  ASSERT_EQ(r.status, 0) << r.err;
  Bytes expectedBytes;
  std::string expected;
  for (const auto& msg : vxtrace::gen::remoteExchange(TraceOptions().startTime)) {
    vxtrace::gen::appendFramed(expectedBytes, *msg, Framing::V1);
    expected += shown(*msg) + "\n";
  }
  EXPECT_EQ(vxtest::readFile(path("r.vxt")),
            std::string(expectedBytes.begin(), expectedBytes.end()));
  r = run({"dump", path("r.vxt")});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, expected);
  EXPECT_TRUE(Has(r.out, "VXPID_FWUPDATE, VXPSTATUS_PROGRESS] [50%] [flashing] "));
  EXPECT_TRUE(Has(r.out, "[ERR_FILE_NOT_FOUND] [no certificate installed] "));
  EXPECT_TRUE(Has(r.out, ";2;brake,test_run] "));
}

// Records of a live stream show while the tool waits for more: it flushes before each wait.
TEST_F(ToolTest, LiveStreamRecordsShowWhileTheToolWaits) {
  Trace t = makeTrace(400, 4);
  int in[2], out[2];
  ASSERT_EQ(::pipe(in), 0);
  ASSERT_EQ(::pipe(out), 0);
  const pid_t pid = ::fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    ::dup2(in[0], STDIN_FILENO);
    ::dup2(out[1], STDOUT_FILENO);
    for (int fd : {in[0], in[1], out[0], out[1]}) ::close(fd);
    ::execl(VXTRACE_CLI, "vxtrace", "dump", "-", static_cast<char*>(nullptr));
    ::_exit(127);
  }
  ::close(in[0]);
  ::close(out[1]);
  const std::size_t half = t.spans[200].second;
  ASSERT_EQ(::write(in[1], t.bytes.data(), half), static_cast<ssize_t>(half));
  // The last record sent may wait for its successor; all before it must arrive.
  std::string wanted;
  for (std::size_t i = 0; i < 200; ++i) wanted += shown(*t.records[i]) + "\n";
  std::string got;
  char buffer[4096];
  pollfd p{out[0], POLLIN, 0};
  while (got.size() < wanted.size() && ::poll(&p, 1, 10000) == 1) {
    const ssize_t n = ::read(out[0], buffer, sizeof buffer);
    if (n <= 0) break;
    got.append(buffer, static_cast<std::size_t>(n));
  }
  EXPECT_EQ(got.substr(0, wanted.size()), wanted);
  ASSERT_EQ(::write(in[1], t.bytes.data() + half, t.bytes.size() - half),
            static_cast<ssize_t>(t.bytes.size() - half));
  ::close(in[1]);
  for (ssize_t n; (n = ::read(out[0], buffer, sizeof buffer)) > 0;)
    got.append(buffer, static_cast<std::size_t>(n));
  ::close(out[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(got, texts(t));
}

// Every reading verb ends alike: an empty input is noted, bytes without a record are warned of,
// a file of another kind is refused.
TEST_F(ToolTest, ReadingVerbsEndAlikeOnEmptyJunkAndForeignInputs) {
  const std::string good = file("good.vxt", makeTrace(20).bytes);
  Bytes junk;
  for (int i = 0; i < 200; ++i) junk.push_back(static_cast<uint8_t>(i * 37 + 1));
  const std::string empty = file("empty.vxt", {}), noise = file("junk.vxt", junk),
                    pcapng = file("p.vxt", {0x0A, 0x0D, 0x0D, 0x0A, 0x1C, 0, 0, 0});
  const std::tuple<std::string, int, std::string> inputs[] = {
      {empty, 0, "vxtrace: note: " + empty + " is empty\n"},
      {noise, 1, "vxtrace: warning: no record in " + noise + " (200 bytes)\n"},
      {pcapng, 2, "vxtrace: " + pcapng + ": not a trace file (looks like pcapng)\n"}};
  const Args verbs[] = {{"dump"},
                        {"stats"},
                        {"info"},
                        {"report", "-o", path("o.html")},
                        {"filter", "-o", path("o.vxt")},
                        {"convert", "--to", "candump", "-o", "-"},
                        {"merge", good, "-o", path("m.vxt")}};
  for (const auto& [input, status, line] : inputs)
    for (Args args : verbs) {
      args.insert(args.begin() + 1, input);
      SCOPED_TRACE(testing::PrintToString(args));
      const Result r = run(args);
      EXPECT_EQ(r.status, status);
      // Reports of what was skipped may come first.
      EXPECT_EQ(r.err.substr(r.err.size() - std::min(r.err.size(), line.size())), line) << r.err;
      if (status == 2) {
        EXPECT_EQ(r.err, line);
      }
    }
}

// stats and info read a file on threads and print what one thread prints, on a trace of several
// parts with containers, garbage, time stamps out of order, a gap and a cut last frame.
TEST_F(ToolTest, StatsAndInfoPrintTheSameOnAnyNumberOfThreads) {
  // Containers first; then, 5 minutes on, flat records each 2 s after the one before it or 1 ms
  // before it, so that the cut between two parts is a step back or a gap (with --gap 1).
  const Trace boxed = makeTrace(150000, 12, Framing::V1, vxtrace::gen::Containers::Plain);
  const Trace t = makeTrace(300000, 13);
  Bytes bytes = boxed.bytes;
  std::size_t runs = 0;
  for (std::size_t i = 0; i < t.spans.size(); ++i) {
    const std::size_t at = bytes.size();
    bytes.insert(bytes.end(), t.bytes.begin() + t.spans[i].first,
                 t.bytes.begin() + t.spans[i].second);
    uint64_t us =
        boxed.records.front()->timeStamp + 300000000 + uint64_t{i / 2} * 2000000 - i % 2 * 1000;
    for (int b = 7; b >= 0; --b, us >>= 8) bytes[at + 8 + b] = static_cast<uint8_t>(us);
    if (i % 40000 == 20000 && ++runs) bytes.insert(bytes.end(), {0x13, 0x37, 0x42, 0x99, 0x01});
  }
  bytes.resize(bytes.size() - 3);
  ASSERT_GT(bytes.size(), 13u << 20);  // more than three parts of the smallest size
  const std::string trace = file("t.vxt", bytes);
  const Args rows[] = {
      {"stats", "--json"},
      {"info"},
      {"info", "--json", "--gap", "1"},
      {"stats", "--channel", "CAN #2", "--can-id", "0x100/0x700", "--channel", "CAN #9"}};
  for (const Args& row : rows) {
    Result one;
    for (const std::string threads : {"1", "2", "3"}) {
      Args args = row;
      args.insert(args.begin() + 1, trace);
      args.insert(args.end(), {"--threads", threads});
      SCOPED_TRACE(testing::PrintToString(args));
      const Result r = run(args);
      if (threads == "1") {
        one = r;
        EXPECT_EQ(r.status, 1);
        EXPECT_TRUE(Has(r.err, std::to_string(runs * 5) + " bytes of invalid data in " +
                                   std::to_string(runs) + " runs, truncated last frame"));
      }
      EXPECT_EQ(r.out, one.out);
      EXPECT_EQ(r.err, one.err);
      EXPECT_EQ(r.status, one.status);
    }
  }
}
