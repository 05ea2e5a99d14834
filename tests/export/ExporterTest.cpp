// What the read-back test cannot see: any bytes of a record's text made valid UTF-8 and escaped
// for JSON and CSV, the ASC date's 12-hour clock, and a BLF header whose totals need an output
// that can go back.
#include <gtest/gtest.h>

#include <cstdio>

#include "vxtrace/export/Exporter.h"
#include "vxtrace/vxtrace.h"

namespace {

constexpr unsigned long long kT0 = 1710408413000000ULL;  // 2024-03-14 09:26:53 UTC

std::string exportAll(const std::string& format, const std::vector<const MessageBase*>& records,
                      bool seekable = false) {
  std::string out;
  std::FILE* file = seekable ? std::tmpfile() : nullptr;
  std::unique_ptr<vxtrace::ExportSink> sink;
  if (file)
    sink = std::make_unique<vxtrace::FileSink>(file);
  else
    sink = std::make_unique<vxtrace::CallbackSink>(
        [&](const uint8_t* p, std::size_t n) { out.append(reinterpret_cast<const char*>(p), n); });
  auto exporter = vxtrace::makeExporter(format, *sink);
  EXPECT_STREQ(exporter->format(), format.c_str());
  for (const MessageBase* r : records) exporter->add(*r);
  exporter->finish();
  if (file) {
    std::rewind(file);
    for (int c; (c = std::fgetc(file)) != EOF;) out.push_back(static_cast<char>(c));
    std::fclose(file);
  }
  return out;
}

TEST(ExporterTest, RecordTextBecomesValidUtf8EscapedForJsonAndQuotedForCsv) {
  struct Row {
    std::string bytes, utf8, json;
  } rows[] = {
      {"plain", "plain", "plain"},
      {"a\"b\\c\n\x01", "a\"b\\c\n\x01", "a\\\"b\\\\c\\u000a\\u0001"},
      {"\xC3\xA9 \xF0\x9F\x98\x80", "\xC3\xA9 \xF0\x9F\x98\x80", "\xC3\xA9 \xF0\x9F\x98\x80"},
      {"\xE9", "\xC3\xA9", "\xC3\xA9"},                      // stray byte: Latin-1
      {"\xC0\x80", "\xC3\x80\xC2\x80", "\xC3\x80\xC2\x80"},  // overlong
      {"\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80", "\xC3\xAD\xC2\xA0\xC2\x80"},  // surrogate
      {"\xE2\x82\x61", "\xC3\xA2\xC2\x82\x61", "\xC3\xA2\xC2\x82\x61"},  // cut short
  };
  ASSERT_EQ(vxtrace::makeExporter("xls", *std::make_unique<vxtrace::CallbackSink>(nullptr)),
            nullptr);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.json);
    StringMessageBase<MSGID_VERSION> record(kT0, row.bytes);
    const std::string head = "2024-03-14 09:26:53.000000  VERSION     | ";
    const std::string json = exportAll("jsonl", {&record});
    EXPECT_EQ(json.substr(json.find("\"text\": ")), "\"text\": \"" + head + row.json + "\"}\n");
    std::string field = head + row.utf8;
    if (row.utf8.find_first_of(",\"\n") != std::string::npos) {
      for (std::size_t at = 0; (at = field.find('"', at)) != std::string::npos; at += 2)
        field.insert(at, 1, '"');
      field = '"' + field + '"';
    }
    const std::string csv = exportAll("csv", {&record});
    EXPECT_EQ(csv.substr(csv.find("\r\n") + 2),
              "1710408413000000,2024-03-14T09:26:53.000000Z,MSGID_VERSION,LOGGER INTERN," + field +
                  ",,,,,,,,,,\r\n");
  }
}

TEST(ExporterTest, AscDateUsesTheTwelveHourClockAndFramesCountFromItsMillisecond) {
  const std::pair<unsigned long long, std::string> rows[] = {
      {kT0 - 9 * 3600000000ULL + 1800123456ULL, "Thu Mar 14 12:56:53.123 am 2024"},
      {kT0 + 3 * 3600000000ULL + 7ULL, "Thu Mar 14 12:26:53.000 pm 2024"},
      {kT0 + 13 * 3600000000ULL + 999999ULL, "Thu Mar 14 10:26:53.999 pm 2024"}};
  for (const auto& [t, date] : rows) {
    CANTraceMessage frame(t, 0, CAN_FRAME_STANDARD, 0, 0x123, std::vector<uint8_t>{1, 2});
    const std::string asc = exportAll("asc", {&frame});
    EXPECT_EQ(asc, "date " + date + "\nbase hex  timestamps absolute\ninternal events logged\n" +
                       "Begin Triggerblock " + date + "\n   0.000000 Start of measurement\n" +
                       "   0.000" + std::to_string(t % 1000 + 1000).substr(1) +
                       " 1  123             Rx   d 2 01 02\nEnd TriggerBlock\n");
  }
}

TEST(ExporterTest, BlfHeaderTotalsAreWrittenOverTheHeaderWhenTheOutputCanGoBack) {
  std::vector<std::unique_ptr<MessageBase>> frames;
  std::vector<const MessageBase*> records;
  for (unsigned i = 0; i < 3000; ++i) {  // two containers
    frames.push_back(std::make_unique<CANTraceMessage>(kT0 + 1000ULL * i, 1, CAN_FRAME_STANDARD, 0,
                                                       i & 0x7FF, std::vector<uint8_t>{1}));
    records.push_back(frames.back().get());
  }
  const std::string file = exportAll("blf", records, true);
  const std::string pipe = exportAll("blf", records, false);
  ASSERT_EQ(file.size(), pipe.size());
  auto le = [](const std::string& s, std::size_t at, int n) {
    uint64_t v = 0;
    for (int i = n - 1; i >= 0; --i) v = v << 8 | static_cast<uint8_t>(s[at + i]);
    return v;
  };
  EXPECT_EQ(le(file, 16, 8), file.size());
  EXPECT_EQ(le(file, 32, 4), 3000u);
  EXPECT_EQ(le(file, 56 + 12, 2), 55u);  // end time: 09:27:55.999
  EXPECT_EQ(le(file, 56 + 14, 2), 999u);
  // Without going back, only the totals of the moment the first container was written.
  EXPECT_EQ(le(pipe, 16, 8), 0u);
  EXPECT_LT(le(pipe, 32, 4), 3000u);
  EXPECT_EQ(file.substr(0, 16), pipe.substr(0, 16));
  EXPECT_EQ(file.substr(40, 16), pipe.substr(40, 16));  // start time
  EXPECT_EQ(file.substr(144), pipe.substr(144));
}

}  // namespace
