#pragma once
// Where a Python caller's trace comes from, as one descriptor the reader can take: a path opened
// here, a file object's own descriptor (pipes included), a bytes-like object in an anonymous
// memory file, or a pipe fed by a thread that calls the object's read() (file objects without a
// descriptor: io.BytesIO, a decompressing stream).
#include <pybind11/pybind11.h>

#include <memory>
#include <string>
#include <thread>

namespace vxtrace::python {

class Input {
 public:
  // Needs the GIL. Raises FileNotFoundError/OSError for a path that cannot be opened and
  // TypeError for a source of no known kind.
  explicit Input(pybind11::handle source);
  // Needs the GIL; lets it go while a feeding thread ends.
  ~Input();
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  int fd() const { return fd_; }
  // For messages: the path, or "<bytes>", "<file object>".
  const std::string& name() const { return name_; }
  // True when a thread needs the GIL to feed fd(): the reader must not hold it while it waits.
  bool fed() const { return feeder_.joinable(); }
  // The feeding thread's exception text, if read() raised; empty otherwise. After the end.
  std::string feedError() const;

 private:
  void feed(pybind11::object stream, int out);

  int fd_ = -1;
  std::string name_;
  std::thread feeder_;
  std::string feedError_;
};

}  // namespace vxtrace::python
