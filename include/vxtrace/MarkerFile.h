#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"

// The marker counter file (the number of the last marker handed out, "n\n") and the event file
// (one line appended per marker, start-up, shut-down and cascade time-offset event) kept beside
// the traces. No file stays open between calls; errors are one line on std::cerr, never an
// exception. Marker lines are throttled: at most one per two seconds of wall-clock time.
class VXTRACE_API MarkerFile {
 public:
  static const char* const DEF_EVENT_FILE;  // "/var/opt/quorvantis/data/Events"
  static const char* const DEF_MARKERCNT;   // "/var/opt/quorvantis/tmp/markerCnt.dat"

  std::string eventFilePath;
  // Wall-clock seconds of the last marker line; 0 at first. 64 bits on every host: the width
  // of the C time type on a 32-bit host depends on how the caller was built.
  int64_t lastMarkerWrite;
  std::string counterFilePath;

  explicit MarkerFile(const std::string& eventFile = DEF_EVENT_FILE,
                      const std::string& counterFile = DEF_MARKERCNT);
  virtual ~MarkerFile();
  // Event line for the message's identifier and time stamp (writeEventFile); null is ignored.
  virtual void writeMessage(const MessageBase* m);
  // The same for a frame from its size field on; one shorter than the 14-byte header is ignored.
  virtual void writeMessage(const std::vector<unsigned char>& bytes);

  // Replaces the wall clock (seconds) that throttles marker lines; for tests and simulations.
  void setClock(std::function<int64_t()> clock);

  // Appends "<token> YYYYMMDD_HHMMSS.mmm <extra>\n" (UTC; ts in microseconds), synchronously.
  void writeToken(const std::string& token, unsigned long long timeStamp, const std::string& extra);
  // "Startup", "Shutdown" or "Marker" for those identifiers; nothing for any other. The extra
  // text of these lines, and of logOffset and logSlaveToMaster, is empty: the lines end in a blank.
  void writeEventFile(msgid_t id, unsigned long long timeStamp);
  // Markers are throttled; every other record is written at once. True only when a marker line
  // was written.
  bool checkWriteMessage(const MessageBase* m);
  bool checkWriteMessage(const std::vector<unsigned char>& bytes);
  // offset: signed, written in decimal as part of the token "SlaveOffset <offset>".
  void logOffset(unsigned long long timeStamp, long long offset);
  void logSlaveToMaster(unsigned long long timeStamp);

  // The next marker number (1..65535, then 1 again), stored before it is returned. The file is
  // replaced atomically (temporary file, fsync, rename, directory fsync), so a crash leaves the
  // old or the new number, never a torn file.
  unsigned short getMarkerCnt();
  // The stored number; 0 when the file is missing or holds no number from 0 to 65535.
  unsigned short getCurrentMarkerValue();
  void setCurrentMarkerValue(unsigned short value);
  bool existMarkerCounterFile();
  // Allocated blocks x preferred I/O block size of the event file, in KiB (larger than its byte
  // count: the required formula). 0 with an error line when the file's status is unreadable.
  uint32_t getFileSize();

 private:
  // Advances lastMarkerWrite and answers true when a marker line may be written now.
  bool markerDue();
  bool storeCounter(unsigned short value);

  std::function<int64_t()> clock_;
};
