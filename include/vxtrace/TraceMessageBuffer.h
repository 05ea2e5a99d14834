#pragma once
#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"

// Cuts a byte stream read from a file descriptor into trace frames and decodes them.
//
// The reader owns one fixed-size buffer. read() appends to its free tail; getNextMessage()
// hands out whole frames in place (or decoded) and moves an incomplete frame to the buffer's
// start when it reaches the end. Garbage between frames is skipped by hunting for the next sync
// marker 55 AA: the first non-zero byte where a marker was expected gives one "[WARNING] ..."
// block (with a dump of the last good frame), and the whole skipped run is reported once in an
// "[ERROR] invalid data (N bytes): " block when the next marker is found. Zero bytes (padding)
// are skipped silently. Dumps are capped at 2048 bytes.
//
// Usage: call read() whenever the descriptor is readable (or in a loop for a file), then
// getNextMessage() until it returns nothing, then read again. A frame larger than the buffer
// cannot be read: read() then fails with ENOMEM.
//
// One object belongs to one thread. Reports on std::cerr are serialised through outputMutex;
// debug lines on std::cout through LogUtil::logMutex. Not copyable (it owns its buffer and
// possibly its descriptor).
class VXTRACE_API TraceMessageBuffer {
 public:
  int fd;                   // descriptor read from; -1 when none
  unsigned int bufferSize;  // capacity of pbuffer in bytes
  uint8_t* pbuffer;         // the buffer (new[], owned)
  uint8_t* pDataStart;      // first unconsumed byte
  uint8_t* pDataEnd;        // one past the last byte read
  bool retryOnInterrupt;    // read() repeats a read interrupted by a signal
  bool keepRawData;         // decoded messages get a copy of their frame (marker included)
  std::string name;         // label in diagnostics; the file name for open()
  bool debug;               // buffer activity on std::cout
  bool reportErrors;        // warnings and errors about skipped data on std::cerr
  bool expectSync;          // every frame is preceded by a sync marker (V1: 55 AA, V2: 'Z')
  bool resyncing;           // garbage is being skipped
  bool dataSkipped;         // garbage was skipped before the frame handed out last (or during
                            // a call that found none); getNextMessage() clears it first
  std::vector<uint8_t> lastMessage;  // last frame handed out, with its marker when expectSync
  std::mutex* outputMutex;           // guards multi-line reports on std::cerr; may be null

  // A buffer of exactly size bytes (no minimum applied).
  TraceMessageBuffer(int fd, unsigned int size, std::mutex* m = nullptr);
  // 4096 bytes.
  explicit TraceMessageBuffer(int fd, std::mutex* m = nullptr);
  // 4096 bytes, no descriptor yet; open() opens the named file.
  explicit TraceMessageBuffer(const char* name, std::mutex* m = nullptr);
  // 4096 bytes, no descriptor.
  explicit TraceMessageBuffer(std::mutex* m = nullptr);

  TraceMessageBuffer(const TraceMessageBuffer&) = delete;
  TraceMessageBuffer& operator=(const TraceMessageBuffer&) = delete;

  // Closes fd when open() opened it. A garbage run still open (the stream ended inside it) is
  // reported here.
  virtual ~TraceMessageBuffer();
  // Refused (false) unless the buffer is empty (pDataEnd == pbuffer; clear() makes it so once
  // everything is consumed); otherwise a new empty buffer of max(size, 1024) bytes.
  virtual bool resize(unsigned int size);
  // Drops all buffered data (the hunting state is kept).
  virtual void clear();
  // Moves unconsumed data to the buffer's start when it reaches the buffer's end.
  virtual void reorganizeBuffer();

  // Opens `name` read-only and makes it fd; this object closes it again (close() or destructor).
  // A descriptor opened earlier by open() is closed first; the buffer and hunting state are
  // reset. Returns false when the file cannot be opened: errno is kept from open(2) and
  // getLastError() says which file and why.
  bool open();
  // Closes fd if open() opened it; a descriptor given by the caller is left alone.
  void close();
  // Text of the last open() failure ("cannot open '<name>': <reason>"); empty after success.
  const std::string& getLastError() const { return lastError; }

  // Garbage skipped by the sync hunt over the reader's life: bytes (zero padding not counted)
  // and runs (one per warning block).
  unsigned long long getSkippedBytes() const { return totalSkipped; }
  unsigned long long getSkippedRuns() const { return skippedRuns; }

  // Reads once into the free tail. Returns the byte count; 0 at end of file or when a
  // non-blocking descriptor has nothing (EAGAIN); -1 on error with errno set (ENOMEM: the
  // buffer is full of one incomplete frame; EINTR unless retryOnInterrupt).
  int read();

  // The next whole frame in place: begin at its size field, end one past it. Valid until the
  // next call that changes the buffer. False when no whole frame is buffered.
  bool getNextMessage(uint8_t*& begin, uint8_t*& end) { return getNextMessageV1(begin, end); }
  // Framing V1: [55 AA when expectSync] size(16 BE) then size bytes.
  bool getNextMessageV1(uint8_t*& begin, uint8_t*& end);
  // Framing V2: ['Z' when expectSync] type(8) length L(16 BE) then L bytes; begin is at the
  // type byte. Bytes before a 'Z' are dropped silently.
  bool getNextMessageV2(uint8_t*& begin, uint8_t*& end);
  // The next V1 frame decoded; the caller owns the result. Null when no whole frame is
  // buffered. An undecodable frame is consumed and raises VXException holding the cause and
  // the frame's bytes; the reader then goes on with the next frame.
  MessageBase* getNextMessage();

 private:
  static constexpr std::size_t kMaxDump = 2048;

  // First kMaxDump bytes and length of the garbage run being skipped; kept apart from the
  // buffer so that a run spanning several reads is reported once, whole.
  std::vector<uint8_t> skippedHead;
  unsigned long long skippedCount = 0;
  bool skippedBeforeFrame = false;  // garbage skipped since the last frame handed out
  bool ownsFd = false;
  unsigned long long totalSkipped = 0;
  unsigned long long skippedRuns = 0;
  std::string lastError;

  bool huntSync();
  void startResync(const uint8_t* at);
  void noteSkipped(const uint8_t* from, std::size_t count);
  void finishResync();
  void reportSkipped();
  void resetHunt();
};

// The buffer state: "name = ..., bufferSize = ..., pbuffer = ..., pDataStart = ...,
// pDataEnd = ..." (pointers as addresses), on one line without a newline.
VXTRACE_API std::ostream& operator<<(std::ostream& os, const TraceMessageBuffer& tmb);
