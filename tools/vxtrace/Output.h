#pragma once
// Where a verb writes its result. A path never loses data it names: a regular file is written
// under a temporary name beside it and renamed over it by finish() (a failed run leaves the old
// file); a symlink is followed to the file it names; a device, FIFO or socket is written through,
// never replaced; a target its owner may not write is refused; "-" is standard output.
#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vxtrace::cli {

class Input;

class Output {
 public:
  // Opens path for writing. inputs are the verb's open inputs: an output that is one of them (by
  // any name or link) is refused before anything is made. Throws Failure.
  explicit Output(const std::string& path, const std::vector<const Input*>& inputs = {});
  // Unless finished, the temporary file is removed and the target stays as it was.
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  std::FILE* file() const { return file_; }
  // The descriptor under file(); flush file() first when both are used.
  int fd() const;
  const std::string& name() const { return name_; }
  bool isStandardOutput() const { return file_ == stdout; }

  // Writes all bytes or throws Failure.
  void write(const void* data, std::size_t size);
  // Throws Failure when an earlier write through file() failed.
  void check();
  // Flushes and closes, leaving a regular file under its temporary name until finish().
  // Throws Failure on an I/O error.
  void close();
  // Closes, and puts a regular file in place. Throws Failure on an I/O error
  // (a full disk), after which the old file is still there.
  void finish();

 private:
  [[noreturn]] void fail(int err);
  std::FILE* file_ = nullptr;
  std::string name_;    // as given, for messages
  std::string target_;  // the file replaced (symlinks followed); empty when written through
  std::string temp_;    // the temporary file beside target_
};

// The file a path names once every symlink on its last component is followed; the path itself
// when it is no link. A dangling link names the file it would create.
std::string followLinks(const std::string& path);

}  // namespace vxtrace::cli
