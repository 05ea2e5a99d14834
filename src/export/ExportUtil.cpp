#include "export/ExportUtil.h"

#include <cstdio>
#include <cstring>

#include "util/Hex.h"
#include "vxtrace/MessageIds.h"
#include "vxtrace/export/Exporter.h"
#include "vxtrace/io/Channel.h"

namespace vxtrace::detail {

const char* canFrameOf(const MessageBase& record, CanFrame& frame) {
  const char* reason = toCanFrame(record, frame);
  return reason && std::strcmp(reason, "not a CAN frame record") == 0 ? kKindNotCarried : reason;
}

std::tm calendarTime(unsigned long long timeUs, bool local) {
  const time_t seconds = static_cast<time_t>(timeUs / 1000000ULL);
  std::tm t{};
  if (local) {
    localtime_r(&seconds, &t);
  } else {
    gmtime_r(&seconds, &t);
  }
  return t;
}

std::string isoTime(unsigned long long timeUs) {
  const std::tm t = calendarTime(timeUs, false);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%06uZ", t.tm_year + 1900,
                t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec,
                static_cast<unsigned>(timeUs % 1000000ULL));
  return text;
}

std::string kindName(const MessageBase& record) {
  if (const char* name = getMsgIdName(record.msgId)) return name;
  char text[8];
  std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(record.msgId) & 0xFFFFu);
  return text;
}

const Column kRecordColumns[kColumns] = {
    {"time_us", ColumnType::Number}, {"time", ColumnType::Text},   {"kind", ColumnType::Text},
    {"channel", ColumnType::Text},   {"text", ColumnType::Text},   {"can_id", ColumnType::Number},
    {"extended", ColumnType::Flag},  {"fd", ColumnType::Flag},     {"brs", ColumnType::Flag},
    {"esi", ColumnType::Flag},       {"remote", ColumnType::Flag}, {"error", ColumnType::Flag},
    {"dir", ColumnType::Text},       {"dlc", ColumnType::Number},  {"data", ColumnType::Text}};

void recordRow(const MessageBase& record, std::string (&row)[kColumns]) {
  row[0] = std::to_string(record.timeStamp);
  row[1] = isoTime(record.timeStamp);
  row[2] = kindName(record);
  row[3] = channelLabel(record);
  row[4] = record.toString();
  CanFrame f;
  if (toCanFrame(record, f) != nullptr) {
    for (std::size_t i = 5; i < kColumns; ++i) row[i].clear();
    return;
  }
  auto flag = [](bool b) { return b ? "true" : "false"; };
  row[5] = std::to_string(f.id);
  row[6] = flag(f.extended);
  row[7] = flag(f.fd);
  row[8] = flag(f.brs);
  row[9] = flag(f.esi);
  row[10] = flag(f.remote);
  row[11] = flag(f.error);
  row[12] = f.tx ? "tx" : "rx";
  row[13] = std::to_string(f.dlc);
  row[14].clear();
  appendHex(row[14], f.data, f.length, '\0');
}

namespace {

// Length of the well-formed UTF-8 sequence at p (at most n bytes), 0 when there is none.
std::size_t utf8Sequence(const unsigned char* p, std::size_t n) {
  const unsigned char c = p[0];
  std::size_t len;
  unsigned char lo = 0x80, hi = 0xBF;  // range of the second byte
  if (c < 0x80) return 1;
  if (c >= 0xC2 && c <= 0xDF) {
    len = 2;
  } else if (c >= 0xE0 && c <= 0xEF) {
    len = 3;
    if (c == 0xE0) lo = 0xA0;  // no overlong forms
    if (c == 0xED) hi = 0x9F;  // no surrogates
  } else if (c >= 0xF0 && c <= 0xF4) {
    len = 4;
    if (c == 0xF0) lo = 0x90;
    if (c == 0xF4) hi = 0x8F;  // nothing past U+10FFFF
  } else {
    return 0;
  }
  if (len > n || p[1] < lo || p[1] > hi) return 0;
  for (std::size_t i = 2; i < len; ++i)
    if ((p[i] & 0xC0) != 0x80) return 0;
  return len;
}

}  // namespace

void appendUtf8(std::string& out, const std::string& text, bool json) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  for (std::size_t i = 0; i < n;) {
    const unsigned char c = p[i];
    if (const std::size_t len = utf8Sequence(p + i, n - i); len > 1) {
      out.append(text, i, len);
      i += len;
      continue;
    }
    ++i;
    if (c >= 0x80) {  // a stray byte: its Latin-1 character, two bytes in UTF-8
      out.push_back(static_cast<char>(0xC0 | c >> 6));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (json && (c == '"' || c == '\\')) {
      out.push_back('\\');
      out.push_back(static_cast<char>(c));
    } else if (json && c < 0x20) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    } else {
      out.push_back(static_cast<char>(c));
    }
  }
}

}  // namespace vxtrace::detail
