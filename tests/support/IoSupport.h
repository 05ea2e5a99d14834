#pragma once
// Header-only helpers for tests that use files, pipes and captured text; shared by the unit tests
// and the tool tests (which link no other test support).
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace vxtest {

// A fresh directory under the system's temporary directory (or under base), removed with
// everything in it.
struct TempDir {
  std::filesystem::path dir;
  explicit TempDir(const std::filesystem::path& base = std::filesystem::temp_directory_path()) {
    std::string tmpl = (base / "vxtraceXXXXXX").string();
    if (!mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
    dir = tmpl;
  }
  ~TempDir() { std::filesystem::remove_all(dir); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string path(const std::string& name) const { return (dir / name).string(); }
};

inline void writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream f(path, std::ios::binary);
  f.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!f) throw std::runtime_error("cannot write " + path);
}

inline std::string readFile(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::ostringstream os;
  os << f.rdbuf();
  return os.str();
}

// Occurrences of needle in hay, overlapping ones included.
inline std::size_t countOf(const std::string& hay, const std::string& needle) {
  std::size_t n = 0;
  for (std::size_t at = hay.find(needle); at != std::string::npos; at = hay.find(needle, at + 1))
    ++n;
  return n;
}

inline std::vector<uint8_t> cat(std::initializer_list<std::vector<uint8_t>> parts) {
  std::vector<uint8_t> out;
  for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

inline void writeAll(int fd, const uint8_t* data, std::size_t n) {
  while (n > 0) {
    const ssize_t w = ::write(fd, data, n);
    if (w < 0) throw std::runtime_error("write failed");
    data += w;
    n -= static_cast<std::size_t>(w);
  }
}
inline void writeAll(int fd, const std::vector<uint8_t>& b) { writeAll(fd, b.data(), b.size()); }

// A pipe whose ends are closed with the object (the writer earlier by closeWriter()).
struct Pipe {
  int r = -1, w = -1;
  Pipe() {
    int fds[2];
    if (::pipe(fds) != 0) throw std::runtime_error("pipe failed");
    r = fds[0];
    w = fds[1];
  }
  ~Pipe() {
    ::close(r);
    if (w >= 0) ::close(w);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void closeWriter() { ::close(w), w = -1; }
};

}  // namespace vxtest
