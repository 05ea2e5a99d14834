#include "vxtrace/export/CandumpExporter.h"

#include <cstdio>

#include "export/ExportUtil.h"
#include "export/SocketCan.h"
#include "util/Hex.h"
#include "vxtrace/io/CanFrame.h"

namespace vxtrace {

using namespace detail;

CandumpExporter::CandumpExporter(ExportSink& sink) : Exporter(sink) {}

const char* CandumpExporter::write(const MessageBase& record) {
  CanFrame frame;
  if (const char* reason = canFrameOf(record, frame)) return reason;
  SocketCanFrame f;
  if (const char* reason = toSocketCan(frame, f)) return reason;
  char line[200];
  int n = std::snprintf(line, sizeof line, "(%010llu.%06llu) can%u ",
                        static_cast<unsigned long long>(frame.timeUs / 1000000ULL),
                        static_cast<unsigned long long>(frame.timeUs % 1000000ULL),
                        static_cast<unsigned>(frame.channel));
  const bool longId = (f.canId & (kCanEffFlag | kCanErrFlag)) != 0;
  n += std::snprintf(line + n, sizeof line - n, longId ? "%08X#" : "%03X#",
                     static_cast<unsigned>(f.canId & (0x1FFFFFFFu | kCanErrFlag)));
  if (f.canId & kCanRtrFlag) {
    line[n++] = 'R';
    if (f.length > 0) line[n++] = hexDigits(true)[f.length & 0x0F];
  } else {
    if (f.fd) {
      line[n++] = '#';
      line[n++] = hexDigits(true)[f.fdFlags & 0x0F];
    }
    for (unsigned i = 0; i < f.length; ++i, n += 2) putHex2(line + n, f.data[i], true);
  }
  line[n++] = ' ';
  line[n++] = frame.tx ? 'T' : 'R';
  line[n++] = '\n';
  sink_.write(line, static_cast<std::size_t>(n));
  return nullptr;
}

}  // namespace vxtrace
