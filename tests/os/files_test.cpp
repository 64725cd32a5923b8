#include "os/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "os/directory_chains.h"
#include "os/protection.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;

std::string PathOfLength(const fs::path& directory, size_t length) {
  return directory / std::string(length - directory.native().size() - 1, 'f');
}

TEST(Protection, ModeAndOwnerByKind) {
  const TempDirectory root;
  const std::string owner = ServiceOwner();
  const std::string fifo = root.path() / "fifo";
  const struct {
    const char* name;
    std::string path;
    int32_t result;
    mode_t mode;
    std::string owner;
  } rows[] = {
      {"directory", root.path() / "directory", 1, 0755, owner},
      {"file in a slashed path", root.path().string() + "//file", 1, 0660, owner},
      {"file of root in the directory of the account", root.path() / "directory/file", 0, 0600,
       "0:0"},
      {"longest path", PathOfLength(root.path(), 240), 1, 0660, owner},
      {"path that is too long", PathOfLength(root.path(), 241), 0, 0600, "0:0"},
      {"pipe", fifo, 0, 0600, "0:0"},
  };
  fs::create_directory(rows[0].path);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    row.path == fifo ? mkfifo(fifo.c_str(), 0600) : creat(row.path.c_str(), 0600);
    chmod(row.path.c_str(), 0600);
    EXPECT_EQ(OsProtectFile(row.path.c_str()), row.result);
    EXPECT_EQ(ModeOf(row.path), row.mode);
    EXPECT_EQ(OwnerOf(row.path), row.owner);
  }
  EXPECT_EQ(OsProtectFile((root.path() / "missing").c_str()), 1);
}

TEST(Directories, ModeAndOwnerOfNewOnes) {
  const TempDirectory root;
  const std::string owner = ServiceOwner();
  fs::current_path(root.path());
  const int status = RunIsolated(CLONE_NEWNS, [] {
    umask(077);
    const int results = _mkdir("plain") | OsMkdir("owned");
    return results | mount("/dev/null", "/etc/passwd", "", MS_BIND, nullptr) |
           OsMkdir("without account");
  });
  EXPECT_EQ(status, 0);
  for (const char* path : {"plain", "owned", "without account"}) {
    EXPECT_EQ(ModeOf(path), 0775U) << path;
    EXPECT_EQ(OwnerOf(path), path[0] == 'o' ? owner : "0:0") << path;
  }
  EXPECT_EQ(OsMkdir("plain") + _mkdir("missing/child"), -2);
  EXPECT_EQ(OwnerOf("plain"), "0:0") << "one that exists is left alone";
}

TEST(Directories, ChainIsCompleted) {
  struct Row {
    const char *operation, *existing;
    std::string path;
    int result;
    std::set<std::string> tree;
  };
  const std::string n(127, 'n');
  const Row rows[] = {
      {"check", "/opt/zx", "/opt/zx/conf/qvxpd.xml", 0, {"/opt", "/opt/zx", "/opt/zx/conf"}},
      {"check", "/opt", "//opt///zx/conf//qvxpd.xml", 0, {"/opt", "/opt/zx", "/opt/zx/conf"}},
      {"check", "/opt", "opt/v1.2/conf/a.xml", 0, {"/opt", "/opt/conf"}},
      {"check", "/opt", "/opt/" + n + n + "nn/zx", 1, {"/opt"}},
      {"build", "/opt", "/a/b.c//d/cert.pem", 0, {"/a", "/a/b.c", "/a/b.c/d", "/opt"}},
      {"build",
       "/opt",
       "/" + n + "/" + n.substr(2) + "/x",
       0,
       {"/" + n, "/" + n + "/" + n.substr(2), "/opt"}},
      {"build", "/opt", "/" + n + "/" + n.substr(1) + "/x", 0, {"/opt"}},
      {"build", "/opt", "/file/x/cert.pem", -1, {"/opt"}},
      {"build", "/opt", "/c:/a/cert.pem", -1, {"/opt"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.operation + row.path);
    const TempDirectory root;
    fs::create_directories(root.path() / (row.existing + 1));
    WriteText(root.path() / "file", "");
    const int status = RunIsolated(0, [&row, &root] {
      EXPECT_EQ(chroot(root.path().c_str()) | chdir("/"), 0);
      std::string path = row.path;
      const bool check = row.operation == std::string("check");
      EXPECT_EQ(check ? OSCheckDir(path.data()) : QVXBuildDirectory(path.c_str()), row.result);
      EXPECT_EQ(fs::current_path(), check ? row.existing : "/");
      std::set<std::string> tree;
      for (const fs::directory_entry& entry : fs::recursive_directory_iterator("/")) {
        tree.insert(entry.path());
      }
      tree.erase("/file");
      EXPECT_EQ(tree, row.tree);
      return FailuresAsStatus();
    });
    EXPECT_EQ(status, 0);
  }
}

TEST(OpenDescriptor, LocksAndTruncates) {
  const TempDirectory root;
  const std::string path = root.path() / "locked";
  const Descriptor file(sopen(path.c_str(), O_CREAT, F_WRLCK, 0600));
  EXPECT_EQ(ModeOf(path), 0664U);
  EXPECT_EQ(chsize(file.get(), 300) + filelength(file.get()), 300);
  EXPECT_EQ(
      RunIsolated(0, [&path] { return sopen(path.c_str(), O_TRUNC, F_RDLCK, 0) == -1 ? 0 : 1; }),
      0);
  EXPECT_EQ(filelength(file.get()), 0) << "truncated, though the lock was refused";
}

}  // namespace
}  // namespace qvx::test
