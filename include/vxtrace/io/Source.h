#pragma once
// Where a reader's bytes come from: a file it opens itself, a descriptor the caller owns (files,
// pipes, terminals, live streams), or bytes in memory the caller keeps alive.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "vxtrace/Export.h"

namespace vxtrace {

class VXTRACE_API Source {
 public:
  enum class Kind { File, Descriptor, Memory };

  // Opens path read-only; the source closes it. Throws std::system_error when it cannot be
  // opened; what() reads "cannot open 'path': <reason>".
  static Source file(const std::string& path);
  // fd stays the caller's: it is never closed here, and must stay open while a reader uses it.
  // name labels messages ("standard input").
  static Source descriptor(int fd, std::string name = "descriptor");
  // The bytes stay the caller's and must outlive every reader of this source. Needs no
  // descriptor.
  static Source memory(const void* data, std::size_t length, std::string name = "memory");

  Source(Source&& other) noexcept;
  Source& operator=(Source&& other) noexcept;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source();

  Kind kind() const { return kind_; }
  const std::string& name() const { return name_; }
  // Size in bytes when known (regular files and memory); nullopt for pipes, terminals, sockets.
  std::optional<uint64_t> size() const { return size_; }
  // Whether a reader may seek in it (regular files and memory).
  bool seekable() const { return seekable_; }
  // The descriptor of a file or descriptor source; -1 for memory.
  int fd() const { return fd_; }
  // The bytes of a memory source; null for the others.
  const uint8_t* data() const { return data_; }

 private:
  Source(Kind kind, std::string name);
  void inspectDescriptor();

  Kind kind_;
  std::string name_;
  int fd_ = -1;
  bool ownsFd_ = false;
  const uint8_t* data_ = nullptr;
  std::optional<uint64_t> size_;
  bool seekable_ = false;
};

}  // namespace vxtrace
