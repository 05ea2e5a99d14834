#include "vxtrace/export/AscExporter.h"

#include <cstdio>
#include <string>

#include "export/ExportUtil.h"
#include "util/Hex.h"

namespace vxtrace {

using namespace detail;

namespace {

// Flags column of a CAN FD line.
constexpr unsigned kAscFdf = 0x1000;
constexpr unsigned kAscBrs = 0x2000;
constexpr unsigned kAscEsi = 0x4000;

// "Thu Mar 14 09:26:53.000 am 2024": English names whatever the locale, as readers expect.
std::string ascDate(unsigned long long timeUs) {
  static const char* const days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::tm t = calendarTime(timeUs, true);
  const int hour12 = t.tm_hour % 12 == 0 ? 12 : t.tm_hour % 12;
  char text[64];
  std::snprintf(text, sizeof text, "%s %s %02d %02d:%02d:%02d.%03u %s %d", days[t.tm_wday % 7],
                months[t.tm_mon % 12], t.tm_mday, hour12, t.tm_min, t.tm_sec,
                static_cast<unsigned>(timeUs / 1000 % 1000), t.tm_hour < 12 ? "am" : "pm",
                t.tm_year + 1900);
  return text;
}

}  // namespace

AscExporter::AscExporter(ExportSink& sink) : Exporter(sink) {}

void AscExporter::start(unsigned long long timeUs) {
  started_ = true;
  startUs_ = timeUs - timeUs % 1000;  // the header's date holds milliseconds only
  const std::string date = ascDate(startUs_);
  // A reader takes the line after the header block for the header's end: without the events
  // line it would swallow the first frame.
  const std::string header = "date " + date + "\nbase hex  timestamps absolute\n" +
                             "internal events logged\nBegin Triggerblock " + date +
                             "\n   0.000000 Start of measurement\n";
  sink_.write(header.data(), header.size());
}

const char* AscExporter::write(const MessageBase& record) {
  if (!started_) start(record.timeStamp);
  CanFrame f;
  if (const char* reason = canFrameOf(record, f)) return reason;
  // A record older than the first is put at the start rather than given a negative time.
  const unsigned long long rel = f.timeUs > startUs_ ? f.timeUs - startUs_ : 0;
  std::string line(64, '\0');
  line.resize(static_cast<std::size_t>(
      std::snprintf(&line[0], line.size(), "%4llu.%06llu ", rel / 1000000ULL, rel % 1000000ULL)));
  char id[16];
  std::snprintf(id, sizeof id, f.extended ? "%Xx" : "%X", static_cast<unsigned>(f.id));
  const unsigned channel = f.channel + 1u;
  char field[96];
  if (f.error) {
    std::snprintf(field, sizeof field, "%u  ErrorFrame", channel);
    line += field;
  } else if (f.fd) {
    std::snprintf(field, sizeof field, "CANFD %3u %-4s %8s %u %u %x %2u ", channel,
                  f.tx ? "Tx" : "Rx", id, f.brs ? 1u : 0u, f.esi ? 1u : 0u,
                  static_cast<unsigned>(f.dlc), static_cast<unsigned>(f.length));
    line += field;
    appendHex(line, f.data, f.length, ' ', true);
    // Duration and bit count unknown; the flags repeat FD, BRS and ESI for readers that take
    // them from here; CRC and bit timings unknown.
    const unsigned flags = kAscFdf | (f.brs ? kAscBrs : 0) | (f.esi ? kAscEsi : 0);
    std::snprintf(field, sizeof field, "%s%8u %4u %8X %8u %8u %8u %8u %8u", f.length ? " " : "", 0u,
                  0u, flags, 0u, 0u, 0u, 0u, 0u);
    line += field;
  } else {
    std::snprintf(field, sizeof field, "%u  %-15s %-4s %c %x", channel, id, f.tx ? "Tx" : "Rx",
                  f.remote ? 'r' : 'd', static_cast<unsigned>(f.dlc));
    line += field;
    if (!f.remote && f.length) {
      line.push_back(' ');
      appendHex(line, f.data, f.length, ' ', true);
    }
  }
  line.push_back('\n');
  sink_.write(line.data(), line.size());
  return nullptr;
}

void AscExporter::finish() {
  if (!started_) start(0);
  static const char end[] = "End TriggerBlock\n";
  sink_.write(end, sizeof end - 1);
}

}  // namespace vxtrace
