#include "vxtrace/io/Source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vxtrace {

Source::Source(Kind kind, std::string name) : kind_(kind), name_(std::move(name)) {}

Source Source::file(const std::string& path) {
  Source s(Kind::File, path);
  s.fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (s.fd_ < 0)
    throw std::system_error(errno, std::generic_category(), "cannot open '" + path + "'");
  s.ownsFd_ = true;
  s.inspectDescriptor();
  return s;
}

Source Source::descriptor(int fd, std::string name) {
  Source s(Kind::Descriptor, std::move(name));
  s.fd_ = fd;
  s.inspectDescriptor();
  return s;
}

Source Source::memory(const void* data, std::size_t length, std::string name) {
  Source s(Kind::Memory, std::move(name));
  s.data_ = static_cast<const uint8_t*>(data);
  s.size_ = length;
  s.seekable_ = true;
  return s;
}

void Source::inspectDescriptor() {
  struct stat st;
  if (::fstat(fd_, &st) == 0 && S_ISREG(st.st_mode)) {
    size_ = static_cast<uint64_t>(st.st_size);
    seekable_ = true;
  }
}

Source::Source(Source&& other) noexcept
    : kind_(other.kind_),
      name_(std::move(other.name_)),
      fd_(other.fd_),
      ownsFd_(other.ownsFd_),
      data_(other.data_),
      size_(other.size_),
      seekable_(other.seekable_) {
  other.fd_ = -1;
  other.ownsFd_ = false;
}

Source& Source::operator=(Source&& other) noexcept {
  if (this != &other) {
    if (ownsFd_) ::close(fd_);
    kind_ = other.kind_;
    name_ = std::move(other.name_);
    fd_ = other.fd_;
    ownsFd_ = other.ownsFd_;
    data_ = other.data_;
    size_ = other.size_;
    seekable_ = other.seekable_;
    other.fd_ = -1;
    other.ownsFd_ = false;
  }
  return *this;
}

Source::~Source() {
  if (ownsFd_) ::close(fd_);
}

}  // namespace vxtrace
