#pragma once
// Writes records as a trace: one file, a rotation set of files, or a descriptor. For the
// logger's recording processes and for tools that write traces.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vxtrace/ContainerMessage.h"
#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/TraceFileReader.h"

namespace vxtrace {

struct TraceFileWriterOptions {
  // V1: 55 AA, then the frame from its size field; V2: 'Z', v2Type, the frame's length (16 bits,
  // big-endian), then the frame; each also without its marker.
  TraceFileReader::framing_t framing = TraceFileReader::FRAMING_V1;
  uint8_t v2Type = 0;

  // Records bundled into container records, plain or LZ4-compressed (a block LZ4 does not
  // shrink is stored plain). A bundle is written once it holds containerRecords records
  // (1..255), before a record would take its block past containerBytes (64..kMaxBlock), and
  // before a record whose time stamp lies containerAgeUs or more after the bundle's first
  // (0: no age limit; tick() applies it without a record). Container records given to write(),
  // records too large for a block and records of 12 bytes (the container walk stops short of
  // such a frame at a block's end) are written on their own, in order.
  enum class Containers { None, Plain, Lz4 };
  Containers containers = Containers::None;
  unsigned containerRecords = 64;
  unsigned containerBytes = 16384;
  uint64_t containerAgeUs = 0;

  // File names. "%d" with an optional zero-padded width ("trace-%03d.vxt") is the file's number
  // in the set, from 0; any other conversion is strftime's, in UTC, of the time stamp of the
  // file's first record ("trace-%Y%m%d-%H%M%S.vxt"); "%%" is a percent sign. A name without a
  // number or time conversion allows no rotation.
  std::string pattern;

  // A new file begins before a write that would take the file past rotateBytes (a file holds at
  // least one write), and with the first record at or after the end of the file's period:
  // periods are rotateUs long and aligned to multiples of rotateUs since the epoch (UTC).
  // Time stamps decide, not the clock. 0: no rotation of that kind.
  uint64_t rotateBytes = 0;
  uint64_t rotateUs = 0;

  // Written at the head of every new file, before its first record, with that record's time
  // stamp (typically TraceFileMetaInfoMessage records).
  std::vector<std::shared_ptr<const MessageBase>> headRecords;
  // Every file that holds records is closed by an end-of-file record carrying the CRC-32
  // (IEEE 802.3) of all file bytes before it, with the time stamp of the file's last record.
  bool endRecord = false;

  // None: bytes go out when 64 KiB have gathered. AfterContainer: each write unit (a container
  // when bundling, else each record) goes to the kernel at once, so a crash of the process
  // loses none of it. FsyncAfterContainer: each unit is also on the storage device
  // (fdatasync) before write() returns.
  enum class Flush { None, AfterContainer, FsyncAfterContainer };
  Flush flush = Flush::None;

  // When the first file of the set exists: Refuse throws, Replace truncates it, Append goes
  // on writing it (with a "%d" pattern: the highest-numbered file present). Later files of a
  // rotation set are created anew; one that exists is refused whatever this says.
  enum class Existing { Refuse, Replace, Append };
  Existing existing = Existing::Refuse;

  // When set, each file of the set is opened by open (its name in; a descriptor open for
  // writing out, or -1 with errno set) and handed to close once complete, which then owns the
  // descriptor: the writer neither creates, replaces nor closes such files itself, and existing
  // does not apply. For a caller that writes under temporary names and renames on success.
  struct FileHooks {
    std::function<int(const std::string& name)> open;
    std::function<void(const std::string& name, int fd)> close;
  };
  FileHooks files;

  // Append cuts a torn tail (and a closing end-of-file record) off the file it goes on with;
  // it refuses a cut longer than this.
  uint64_t maxTailCut = 1 << 20;
};

// What append removed from the end of a file before going on with it.
struct TailCut {
  std::string path;
  uint64_t offset = 0;     // the new end of the file: the end of its last good record
  uint64_t length = 0;     // bytes removed (0: the file ended cleanly)
  uint64_t records = 0;    // records the validating reader still found in the removed bytes
  bool endRecord = false;  // a closing end-of-file record was removed (the file goes on)
};

// Throws std::system_error (with the errno text) when a file cannot be opened, written or
// synced, std::invalid_argument for options out of range or a record that cannot be framed,
// and std::runtime_error when append meets a file that is not a trace in this framing or would
// cut more than maxTailCut. Append reads through the registry (MessageBase::registerMessages()
// first). Memory stays constant whatever the amount written. Not copyable;
// one object belongs to one thread.
class VXTRACE_API TraceFileWriter {
 public:
  static constexpr unsigned kMaxBlock = 65000;  // fits every block in a 16-bit size field

  // A file or a rotation set named by options.pattern. An existing file is dealt with here,
  // unless the name holds a time conversion (then on the first record, whose time names it).
  explicit TraceFileWriter(const TraceFileWriterOptions& options,
                           std::function<void(const TailCut&)> onTailCut = nullptr);
  // Writes through a descriptor the caller owns (a pipe, a device, standard output): no
  // rotation, no append; pattern is ignored.
  TraceFileWriter(int fd, const TraceFileWriterOptions& options);
  // Closes as close() does; errors then go to the diagnostic stream.
  ~TraceFileWriter();
  TraceFileWriter(const TraceFileWriter&) = delete;
  TraceFileWriter& operator=(const TraceFileWriter&) = delete;

  // Writes a record (it stays the caller's). Its frame must fit a 16-bit size field.
  void write(const MessageBase& msg);
  // Writes a frame given from its size field on (length bytes, size field + 2), as it is.
  void writeFrame(const uint8_t* frame, std::size_t length);
  // Writes the bundle when its first record's time stamp lies containerAgeUs or more before
  // nowUs (microseconds since the epoch, UTC): for a recorder whose traffic pauses.
  void tick(uint64_t nowUs);
  // Writes the open bundle and the gathered bytes out; with FsyncAfterContainer also syncs.
  void flush();
  // flush(), then fdatasync whatever the policy.
  void sync();
  // flush(), the end-of-file record, close (synced under FsyncAfterContainer). Once only.
  void close();

  // Records given to write()/writeFrame() that reached the kernel (survive a crash of the
  // process) and that reached the storage device (survive a power loss). Head and end-of-file
  // records are not counted.
  uint64_t recordsFlushed() const { return flushed_; }
  uint64_t recordsSynced() const { return synced_; }
  uint64_t recordsWritten() const { return written_; }  // accepted by write(), pending included
  // The file being written, and the number of files opened so far.
  const std::string& path() const { return path_; }
  uint64_t files() const { return files_; }
  // Every cut append made, in order (also handed to onTailCut as it happens).
  const std::vector<TailCut>& tailCuts() const { return cuts_; }

 private:
  void validate();
  void add(const MessageBase* msg, const uint8_t* frame, std::size_t length);
  void openFile(uint64_t ts);
  void appendTo(const std::string& path);
  void closeFile();
  void release() noexcept;  // the open file's descriptor, after a failure
  void closeBundle();
  // One write unit: a record given as object or as frame, standing for records records.
  void emit(const MessageBase* msg, const uint8_t* frame, std::size_t length, uint64_t records,
            uint64_t firstTs, uint64_t lastTs);
  void emitRecord(const MessageBase& msg);
  void writeOut();
  void syncFile();
  std::string nameFor(uint64_t index, uint64_t ts) const;

  TraceFileWriterOptions options_;
  std::function<void(const TailCut&)> onTailCut_;
  bool ownsFd_ = true;
  bool regular_ = false;
  bool closed_ = false;
  bool timeName_ = false;
  bool numbered_ = false;
  int fd_ = -1;
  std::string path_;
  uint64_t index_ = 0;
  uint64_t files_ = 0;

  // The open file.
  uint64_t fileBytes_ = 0;  // written or gathered
  bool fileHasRecords_ = false;
  uint64_t fileLastTs_ = 0;
  uint64_t periodEnd_ = 0;
  uint32_t crc_ = 0;
  std::vector<uint8_t> out_;  // gathered bytes
  uint64_t outRecords_ = 0;   // records in out_

  // The open bundle: frames with their markers, end to end.
  std::vector<uint8_t> block_;
  std::vector<uint8_t> packed_;
  unsigned bundled_ = 0;
  uint64_t firstTs_ = 0;
  uint64_t lastTs_ = 0;
  msgid_t firstId_ = MSGID_INVALID;
  ContainerMessage container_;

  uint64_t written_ = 0;
  uint64_t flushed_ = 0;
  uint64_t synced_ = 0;
  uint64_t unsynced_ = 0;  // flushed, not yet synced
  std::vector<TailCut> cuts_;
};

}  // namespace vxtrace
