#include "Input.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>

namespace py = pybind11;

namespace vxtrace::python {

namespace {

std::mutex feedMutex;  // guards Input::feedError_ between the feeder and the reader

[[noreturn]] void raiseErrno(const py::object& path) {
  PyErr_SetFromErrnoWithFilenameObject(PyExc_OSError, path.ptr());
  throw py::error_already_set();
}

bool writeAll(int fd, const char* p, std::size_t n) {
  while (n > 0) {
    const ssize_t w = ::write(fd, p, n);
    if (w < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    p += w;
    n -= static_cast<std::size_t>(w);
  }
  return true;
}

// A descriptor of its own for a file object's, at the object's logical position when it seeks
// (a buffered reader may have read ahead of it); -1 when it has none.
int descriptorOf(py::handle source) {
  if (!py::hasattr(source, "fileno")) return -1;
  int fd;
  try {
    fd = source.attr("fileno")().cast<int>();
  } catch (py::error_already_set&) {
    return -1;  // io.BytesIO and friends: no descriptor
  }
  const int own = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
  if (own < 0) raiseErrno(py::str("<file object>"));
  try {
    if (py::hasattr(source, "seekable") && source.attr("seekable")().cast<bool>()) {
      const long long pos = source.attr("tell")().cast<long long>();
      ::lseek(own, static_cast<off_t>(pos), SEEK_SET);
    }
  } catch (...) {
    ::close(own);
    throw;
  }
  return own;
}

}  // namespace

Input::Input(py::handle source) {
  if (py::isinstance<py::str>(source) || py::hasattr(source, "__fspath__")) {
    py::object path = py::module_::import("os").attr("fspath")(source);
    name_ = py::str(path).cast<std::string>();
    fd_ = ::open(name_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) raiseErrno(path);
    struct stat st;
    if (::fstat(fd_, &st) == 0 && S_ISDIR(st.st_mode)) {
      ::close(fd_);
      fd_ = -1;
      errno = EISDIR;
      raiseErrno(path);
    }
    return;
  }
  if (PyObject_CheckBuffer(source.ptr())) {
    py::buffer_info info = py::reinterpret_borrow<py::buffer>(source).request();
    if (info.ndim > 1 || (info.ndim == 1 && info.strides[0] != info.itemsize))
      throw py::type_error("vxtrace: a buffer source must be contiguous bytes");
    name_ = "<bytes>";
    fd_ = ::memfd_create("vxtrace-input", MFD_CLOEXEC);
    if (fd_ < 0) raiseErrno(py::str(name_));
    const std::size_t n = static_cast<std::size_t>(info.size * info.itemsize);
    if (!writeAll(fd_, static_cast<const char*>(info.ptr), n) || ::lseek(fd_, 0, SEEK_SET) != 0) {
      const int err = errno;
      ::close(fd_);
      errno = err;
      raiseErrno(py::str(name_));
    }
    return;
  }
  if (!py::hasattr(source, "read"))
    throw py::type_error("vxtrace: source must be a path, a binary file object or bytes, not " +
                         py::str(py::type::of(source).attr("__name__")).cast<std::string>());
  name_ = py::hasattr(source, "name") ? py::str(source.attr("name")).cast<std::string>()
                                      : std::string("<file object>");
  fd_ = descriptorOf(source);
  if (fd_ >= 0) return;
  int p[2];
  if (::pipe2(p, O_CLOEXEC) != 0) raiseErrno(py::str(name_));
  fd_ = p[0];
  // Python ignores SIGPIPE: a reader that stops early makes the feeder's write fail with EPIPE.
  feeder_ = std::thread(&Input::feed, this, py::reinterpret_borrow<py::object>(source), p[1]);
}

void Input::feed(py::object stream, int out) {
  std::string error;
  {
    py::gil_scoped_acquire gil;
    try {
      py::object read = stream.attr("read");
      for (;;) {
        py::object chunk = read(1 << 16);
        if (chunk.is_none()) continue;  // a non-blocking stream with nothing yet
        if (!PyBytes_Check(chunk.ptr()) && !PyByteArray_Check(chunk.ptr()))
          throw py::type_error("read() returned " +
                               py::str(py::type::of(chunk).attr("__name__")).cast<std::string>() +
                               ", not bytes: open the file in binary mode");
        std::string bytes = chunk.cast<std::string>();
        if (bytes.empty()) break;
        py::gil_scoped_release unlocked;
        if (!writeAll(out, bytes.data(), bytes.size())) break;
      }
    } catch (py::error_already_set& e) {
      error = e.what();
    } catch (const std::exception& e) {
      error = e.what();
    }
    stream = py::object();  // its last reference may go while the GIL is held
  }
  ::close(out);
  std::lock_guard<std::mutex> lock(feedMutex);
  feedError_ = error;
}

std::string Input::feedError() const {
  std::lock_guard<std::mutex> lock(feedMutex);
  return feedError_;
}

Input::~Input() {
  if (fd_ >= 0) ::close(fd_);
  if (feeder_.joinable()) {
    py::gil_scoped_release unlocked;
    feeder_.join();
  }
}

}  // namespace vxtrace::python
