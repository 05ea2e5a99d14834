// Where the tool writes: a device, a FIFO, a symlink and a read-only file, as root and as an
// unprivileged user.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "ToolFixture.h"

namespace {

mode_t modeOf(const std::string& path) {
  struct stat st {};
  ::lstat(path.c_str(), &st);
  return st.st_mode;
}

}  // namespace

TEST_F(ToolTest, OutputsNeverReplaceADeviceALinkOrAReadOnlyFile) {
  ASSERT_EQ(::chmod(dir_.dir.c_str(), 0777), 0);  // the unprivileged user may create files here
  const std::string trace = file("t.vxt", makeTrace(60, 2).bytes);
  const std::string candump = run({"convert", trace, "--to", "candump", "-o", "-"}).out;
  ASSERT_GT(candump.size(), 100u);
  const bool root = ::geteuid() == 0;
  for (const std::string user : {"", "setpriv --reuid=65534 --regid=65534 --clear-groups"}) {
    if (!user.empty() && !root) continue;
    SCOPED_TRACE(user.empty() ? "as the caller" : "as nobody");
    const std::string sub = path(user.empty() ? "a" : "b");
    std::filesystem::create_directory(sub);
    ::chmod(sub.c_str(), 0777);
    auto at = [&](const char* name) { return sub + "/" + name; };
    // A copy of /dev/full: written through, so the write fails and the device stays.
    if (root) {
      ASSERT_EQ(::mknod(at("full").c_str(), S_IFCHR | 0666, makedev(1, 7)), 0);
      ::chmod(at("full").c_str(), 0666);
    }
    ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0666), 0);
    ::chmod(at("fifo").c_str(), 0666);
    vxtest::writeFile(at("target.log"), {'o', 'l', 'd'});
    ::chmod(at("target.log").c_str(), 0646);
    ASSERT_EQ(::symlink("target.log", at("link.log").c_str()), 0);
    vxtest::writeFile(at("ro.log"), {'o', 'l', 'd'});
    ::chmod(at("ro.log").c_str(), 0444);
    std::string fromFifo;
    std::thread reader([&] { fromFifo = vxtest::readFile(at("fifo")); });

    struct Row {
      const char* target;
      int status;
      std::string err;  // the last line on standard error
      mode_t mode;      // of the target after the run
      std::string content;
    };
    const Row rows[] = {
        {"fifo", 0, "records written to candump", S_IFIFO | 0666, ""},
        {"link.log", 0, "records written to candump", S_IFLNK | 0777, candump},
        {"ro.log", 2, "vxtrace: output '" + at("ro.log") + "' is read-only: refusing to replace it\n",
         S_IFREG | 0444, "old"},
        {"full", 2, "vxtrace: cannot write '" + at("full") + "': No space left on device\n",
         S_IFCHR | 0666, ""},
    };
    for (const Row& row : rows) {
      if (!root && std::string(row.target) == "full") continue;
      SCOPED_TRACE(row.target);
      Result r = run({"convert", trace, "--to", "candump", "-o", at(row.target)}, "/dev/null", user);
      EXPECT_EQ(r.status, row.status) << r.err;
      EXPECT_TRUE(Has(r.err, row.err));
      EXPECT_EQ(modeOf(at(row.target)), row.mode);
      if (!row.content.empty()) {
        EXPECT_EQ(vxtest::readFile(at(row.target)), row.content);
      }
    }
    // Should the tool never have opened the FIFO, the reader gets its end of file here.
    const int wake = ::open(at("fifo").c_str(), O_WRONLY | O_NONBLOCK);
    if (wake >= 0) ::close(wake);
    reader.join();
    EXPECT_EQ(fromFifo, candump);
    // The link's target was replaced and kept its permission bits.
    EXPECT_EQ(modeOf(at("target.log")), S_IFREG | 0646);
    if (!user.empty()) {
      // A file of another user that this one may not write stays, even in a shared directory.
      vxtest::writeFile(at("roots.log"), {'o', 'l', 'd'});
      Result r = run({"gen", at("roots.log")}, "/dev/null", user);
      EXPECT_EQ(r.status, 2);
      EXPECT_EQ(r.err, "vxtrace: cannot create '" + at("roots.log") + "': Permission denied\n");
      EXPECT_EQ(vxtest::readFile(at("roots.log")), "old");
    }
    std::size_t temporaries = 0;
    for (const auto& e : std::filesystem::directory_iterator(sub))
      temporaries += e.path().string().find(".vxtrace-") != std::string::npos;
    EXPECT_EQ(temporaries, 0u);
  }
}
