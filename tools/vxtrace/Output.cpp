#include "Output.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Cli.h"

namespace vxtrace::cli {

std::string followLinks(const std::string& path) {
  std::string target = path;
  // As many hops as the kernel allows before ELOOP; a longer chain is opened as given and fails.
  for (int hops = 0; hops < 40; ++hops) {
    struct stat st;
    if (::lstat(target.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return target;
    std::string link(static_cast<std::size_t>(st.st_size > 0 ? st.st_size : PATH_MAX), '\0');
    const ssize_t n = ::readlink(target.c_str(), link.data(), link.size());
    if (n < 0) return target;
    link.resize(static_cast<std::size_t>(n));
    if (link.empty() || link[0] == '/') {
      target = link;
    } else {
      const std::size_t slash = target.rfind('/');
      target = (slash == std::string::npos ? std::string() : target.substr(0, slash + 1)) + link;
    }
  }
  return target;
}

namespace {

// A Unix socket cannot be opened; it is connected to, as a stream.
int connectSocket(const std::string& path) {
  sockaddr_un address{};
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return -1;
  }
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int err = errno;
    ::close(fd);
    errno = err;
    return -1;
  }
  return fd;
}

}  // namespace

Output::Output(const std::string& path, const std::vector<const Input*>& inputs) : name_(path) {
  if (path == "-") {
    file_ = stdout;
    name_ = "standard output";
    // On a terminal each record shows as soon as it is read.
    static char buffer[1 << 20];
    std::setvbuf(stdout, buffer, isatty(STDOUT_FILENO) ? _IOLBF : _IOFBF, sizeof buffer);
    return;
  }
  auto failCreate = [&](int err) {
    throw Failure{"cannot create " + inQuotes(path) + ": " + std::strerror(err)};
  };
  const std::string target = followLinks(path);
  struct stat st;
  const bool exists = ::stat(target.c_str(), &st) == 0;
  if (exists) {
    if (S_ISDIR(st.st_mode)) failCreate(EISDIR);
    for (const Input* in : inputs) {
      struct stat ist;
      // Reading and writing one character device (a terminal, /dev/null) destroys nothing.
      if (in && !S_ISCHR(st.st_mode) && ::fstat(in->fd, &ist) == 0 && ist.st_dev == st.st_dev &&
          ist.st_ino == st.st_ino)
        throw Failure{"output " + inQuotes(path) + " is the input " + inQuotes(in->name) +
                      ": refusing to overwrite it"};
    }
    // Root may write anything; a file its owner made read-only is still meant to stay.
    if ((st.st_mode & S_IWUSR) == 0)
      throw Failure{"output " + inQuotes(path) + " is read-only: refusing to replace it"};
    // Renaming needs only the directory: a user must not replace a file it may not write.
    if (::access(target.c_str(), W_OK) != 0) failCreate(errno);
  }
  int fd = -1;
  if (exists && !S_ISREG(st.st_mode)) {
    // A device, FIFO or socket takes the bytes as they come; renaming over it would destroy it.
    fd = S_ISSOCK(st.st_mode) ? connectSocket(target)
                              : ::open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) failCreate(errno);
  } else {
    target_ = target;
    temp_ = target + ".vxtrace-XXXXXX";
    fd = ::mkstemp(temp_.data());
    if (fd < 0) failCreate(errno);
    if (exists) {
      // The replacement keeps the old file's permissions, and its owner where we may give it.
      ::fchmod(fd, st.st_mode & 07777);
      [[maybe_unused]] const int kept = ::fchown(fd, st.st_uid, st.st_gid);
    } else {
      const mode_t mask = ::umask(0);
      ::umask(mask);
      ::fchmod(fd, 0666 & ~mask);  // what a plain create would have given
    }
  }
  file_ = ::fdopen(fd, "wb");
  if (file_ == nullptr) {
    const int err = errno;
    ::close(fd);
    if (!temp_.empty()) ::unlink(temp_.c_str());
    failCreate(err);
  }
  std::setvbuf(file_, nullptr, _IOFBF, 1 << 20);
}

Output::~Output() {
  if (file_ && file_ != stdout) std::fclose(file_);
  if (!temp_.empty()) ::unlink(temp_.c_str());
}

int Output::fd() const { return fileno(file_); }

void Output::fail(int err) {
  throw Failure{"cannot write " + inQuotes(name_) + ": " + std::strerror(err ? err : EIO)};
}

void Output::write(const void* data, std::size_t size) {
  if (size != 0 && std::fwrite(data, 1, size, file_) != size) fail(errno);
}

void Output::check() {
  if (std::ferror(file_)) fail(errno);
}

void Output::close() {
  if (file_ == nullptr) return;
  errno = 0;
  bool bad = std::fflush(file_) != 0 || std::ferror(file_);
  int err = errno;
  if (file_ != stdout && std::fclose(file_) != 0 && !bad) {
    bad = true;
    err = errno;
  }
  file_ = nullptr;
  if (bad) {
    if (!temp_.empty()) ::unlink(temp_.c_str());
    temp_.clear();
    fail(err);
  }
}

void Output::finish() {
  close();
  if (!temp_.empty() && ::rename(temp_.c_str(), target_.c_str()) != 0) {
    const int err = errno;
    ::unlink(temp_.c_str());
    temp_.clear();
    fail(err);
  }
  temp_.clear();
}

}  // namespace vxtrace::cli
