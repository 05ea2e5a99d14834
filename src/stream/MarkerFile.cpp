#include "vxtrace/MarkerFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>

#include "util/ByteReader.h"
#include "util/Diagnostics.h"

using namespace vxtrace::detail;

const char* const MarkerFile::DEF_EVENT_FILE = "/var/opt/quorvantis/data/Events";
const char* const MarkerFile::DEF_MARKERCNT = "/var/opt/quorvantis/tmp/markerCnt.dat";

namespace {

bool writeAllTo(int fd, const char* p, std::size_t n) {
  while (n > 0) {
    const ssize_t w = ::write(fd, p, n);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return false;
    p += w;
    n -= static_cast<std::size_t>(w);
  }
  return true;
}

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

MarkerFile::MarkerFile(const std::string& eventFile, const std::string& counterFile)
    : eventFilePath(eventFile),
      lastMarkerWrite(0),
      counterFilePath(counterFile),
      clock_([] { return static_cast<int64_t>(std::time(nullptr)); }) {}

MarkerFile::~MarkerFile() = default;

void MarkerFile::writeMessage(const MessageBase* m) {
  if (m != nullptr) writeEventFile(m->msgId, m->timeStamp);
}

void MarkerFile::writeMessage(const std::vector<unsigned char>& bytes) {
  if (bytes.size() < 14) return;
  ByteReader in(bytes.data(), bytes.size());
  in.skip(2);
  const msgid_t id = static_cast<msgid_t>(in.be16());
  in.skip(2);
  writeEventFile(id, in.be64());
}

void MarkerFile::setClock(std::function<int64_t()> clock) { clock_ = std::move(clock); }

void MarkerFile::writeToken(const std::string& token, unsigned long long timeStamp,
                            const std::string& extra) {
  const int fd = ::open(eventFilePath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_DSYNC, 0666);
  if (fd < 0) {
    errorLog() << "[ERROR] Cannot open event file '" << eventFilePath
              << "': " << std::strerror(errno) << std::endl;
    return;
  }
  const std::time_t seconds = static_cast<std::time_t>(timeStamp / 1000000);
  struct tm t {};
  char line[1024];
  int n = -1;
  if (gmtime_r(&seconds, &t) != nullptr) {
    n = std::snprintf(line, sizeof line, "%s %04u%02u%02u_%02u%02u%02u.%03u %s\n", token.c_str(),
                      unsigned(t.tm_year + 1900), unsigned(t.tm_mon + 1), unsigned(t.tm_mday),
                      unsigned(t.tm_hour), unsigned(t.tm_min), unsigned(t.tm_sec),
                      unsigned(timeStamp % 1000000 / 1000), extra.c_str());
  }
  const bool formatted = n >= 0 && static_cast<std::size_t>(n) < sizeof line;
  const std::string text = formatted ? std::string(line, static_cast<std::size_t>(n)) : token;
  if (!writeAllTo(fd, text.data(), text.size())) {
    const int err = errno;
    errorLog() << "[ERROR] Cannot write '" << text
              << (formatted ? "' to eventFile: " : "' to events file: ") << std::strerror(err)
              << std::endl;
    ::close(fd);
    return;
  }
  ::fsync(fd);
  ::close(fd);
  infoLog() << "[INFO] " << token;
  if (!extra.empty()) infoLog() << " (" << extra << ")";
  infoLog() << " appended to " << eventFilePath << std::endl;
}

void MarkerFile::writeEventFile(msgid_t id, unsigned long long timeStamp) {
  switch (id) {
    case MSGID_STARTUP:
      writeToken("Startup", timeStamp, "");
      break;
    case MSGID_SHUTDOWN:
      writeToken("Shutdown", timeStamp, "");
      break;
    case MSGID_MARKER:
      writeToken("Marker", timeStamp, "");
      break;
    default:
      break;
  }
}

bool MarkerFile::markerDue() {
  const int64_t now = clock_();
  if (now < lastMarkerWrite) {  // the clock was set back: restart the interval, write nothing
    lastMarkerWrite = now;
    return false;
  }
  if (now - lastMarkerWrite <= 2) return false;
  lastMarkerWrite = now;
  return true;
}

bool MarkerFile::checkWriteMessage(const MessageBase* m) {
  if (m == nullptr) return false;
  if (m->msgId != MSGID_MARKER) {
    writeMessage(m);
    return false;
  }
  if (!markerDue()) return false;
  writeMessage(m);
  return true;
}

bool MarkerFile::checkWriteMessage(const std::vector<unsigned char>& bytes) {
  if (bytes.size() < 14) return false;
  if (loadBE16(bytes.data() + 2) != MSGID_MARKER) {
    writeMessage(bytes);
    return false;
  }
  if (!markerDue()) return false;
  writeMessage(bytes);
  return true;
}

void MarkerFile::logOffset(unsigned long long timeStamp, long long offset) {
  writeToken("SlaveOffset " + std::to_string(offset), timeStamp, "");
}

void MarkerFile::logSlaveToMaster(unsigned long long timeStamp) {
  writeToken("SlaveToMaster", timeStamp, "");
}

unsigned short MarkerFile::getMarkerCnt() {
  unsigned short n = static_cast<unsigned short>(getCurrentMarkerValue() + 1);
  if (n == 0) n = 1;
  storeCounter(n);
  return n;
}

unsigned short MarkerFile::getCurrentMarkerValue() {
  FILE* f = std::fopen(counterFilePath.c_str(), "r");
  if (f == nullptr) return 0;
  char text[32] = {0};
  const std::size_t got = std::fread(text, 1, sizeof text - 1, f);
  std::fclose(f);
  text[got] = '\0';
  char* end = nullptr;
  errno = 0;
  const unsigned long v = std::strtoul(text, &end, 10);
  if (end == text || errno != 0 || v > 0xFFFF || text[0] == '-' || text[0] == '+') return 0;
  return static_cast<unsigned short>(v);
}

void MarkerFile::setCurrentMarkerValue(unsigned short value) { storeCounter(value); }

bool MarkerFile::existMarkerCounterFile() {
  const int fd = ::open(counterFilePath.c_str(), O_RDONLY);
  if (fd < 0) return false;
  ::close(fd);
  return true;
}

uint32_t MarkerFile::getFileSize() {
  struct stat st {};
  if (::stat(eventFilePath.c_str(), &st) != 0) {
    errorLog() << "[ERROR] cannot determine size of " << eventFilePath << std::endl;
    return 0;
  }
  return static_cast<uint32_t>(static_cast<unsigned long long>(st.st_blocks) *
                               static_cast<unsigned long long>(st.st_blksize) / 1024);
}

// A crash at any point leaves either the old file or the new one: the number goes to a
// temporary file in the same directory, reaches the device, and only then replaces the old
// file; the directory is synced so that the rename itself survives.
bool MarkerFile::storeCounter(unsigned short value) {
  std::string tmp = counterFilePath + ".XXXXXX";
  const int fd = ::mkstemp(tmp.data());
  if (fd < 0) {
    errorLog() << "[ERROR] Cannot open " << counterFilePath << std::endl;
    return false;
  }
  ::fchmod(fd, 0644);
  const std::string text = std::to_string(value) + "\n";
  const bool ok = writeAllTo(fd, text.data(), text.size()) && ::fsync(fd) == 0;
  ::close(fd);
  if (!ok || ::rename(tmp.c_str(), counterFilePath.c_str()) != 0) {
    ::unlink(tmp.c_str());
    errorLog() << "[ERROR] Cannot open " << counterFilePath << std::endl;
    return false;
  }
  const int dir = ::open(directoryOf(counterFilePath).c_str(), O_RDONLY | O_DIRECTORY);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
  return true;
}
