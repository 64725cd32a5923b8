#include "os/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstring>
#include <set>

#include "os/commands.h"
#include "os/copying.h"
#include "os/directory_chains.h"
#include "os/protection.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;

TEST(Protection, ModeAndOwnerByKind) {
  const TempDirectory root;
  const std::string owner = ServiceOwner();
  const std::string longest(239 - root.path().native().size(), 'f');
  const struct {
    std::string name;
    int (*make)(const char* path, mode_t mode);
    mode_t mode = 0600;  // that of a file that is left alone
  } rows[] = {
      {.name = "directory", .make = mkdir, .mode = 0755},
      {.name = "/file", .make = creat, .mode = 0660},
      {.name = "directory/file of root", .make = creat},
      {.name = "directory/folder of root", .make = mkdir},
      {.name = longest, .make = creat, .mode = 0660},
      {.name = longest + "f", .make = creat},
      {.name = "fifo", .make = mkfifo},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string path = root.path().string() + "/" + row.name;
    EXPECT_NE(row.make(path.c_str(), 0600), -1);
    EXPECT_EQ(OsProtectFile(path.c_str()), row.mode == 0600 ? 0 : 1);
    EXPECT_EQ(ModeOf(path), row.mode);
    EXPECT_EQ(OwnerOf(path), row.mode == 0600 ? "0:0" : owner);
  }
  EXPECT_EQ(OsProtectFile((root.path() / "missing").c_str()), 1);
  EXPECT_EQ(OsProtectFile((root.path() / "file/missing").c_str()), 1);
  // What is missing in a folder of the account's may come in the moment of the command.
  for (const std::string folder : {root.path() / "", root.path() / "directory/"}) {
    const std::string made = folder + "made";
    EXPECT_EQ(OsProtectFile((folder + "missing/; : >" + made).c_str()), 1);
    EXPECT_EQ(OwnerOf(made), OwnerOf(folder));
  }
}

TEST(Copying, CommandIsNotCut) {
  const TempDirectory root;
  const std::string base = root.path() / "";
  const std::string source = base + std::string(251 - base.size(), 's');
  WriteText(source, "text");
  std::string copy = base + std::string(kMaxCommand - strlen("cp   -f") - 251 - base.size(), 'c');
  EXPECT_EQ(CopyFile(source.c_str(), copy.c_str()), 1);
  EXPECT_EQ(Contents(copy), "text");
  EXPECT_EQ(CopyFile(source.c_str(), (copy + "c").c_str()), 0);
}

TEST(Directories, ModeAndOwnerOfNewOnes) {
  const TempDirectory root;
  const std::string owner = ServiceOwner();
  fs::current_path(root.path());
  EXPECT_EQ(std::system("setfacl -d -m u:65534:rwx ."), 0);
  PassIsolated(CLONE_NEWNS, [] {
    umask(077);
    EXPECT_EQ(_mkdir("plain"), 0);
    EXPECT_EQ(OsMkdir("owned"), 0);
    EXPECT_EQ(OsMkdir("plain"), -1) << "it exists, and is left alone";
    EXPECT_EQ(_mkdir("missing/child"), -1);
    EXPECT_EQ(_mkdir("owned/child"), 0) << "its owner is that of the folder";
    EXPECT_EQ(mkdir("owned/of root", 0700), 0);
    EXPECT_EQ(OsMkdir("owned/of root"), -1) << "left alone, too";
    EXPECT_EQ(mount("/dev/null", "/etc/passwd", "", MS_BIND, nullptr), 0);
    EXPECT_EQ(OsMkdir("without account"), 0);
  });
  for (const auto& [name, directory_owner] : {std::pair("plain", std::string("0:0")),
                                              {"owned", owner},
                                              {"owned/child", owner},
                                              {"without account", "0:0"}}) {
    EXPECT_EQ(ModeOf(name), 0775U) << name;
    EXPECT_EQ(OwnerOf(name), directory_owner) << name;
    EXPECT_NE(std::system(("getfacl -c '" + std::string(name) + "' | grep user:[^:]").c_str()), 0);
  }
}

int Check(const char* path) {
  std::string cut = path;
  const int result = OSCheckDir(cut.data());
  EXPECT_TRUE(result == 1 || cut.find('/') == std::string::npos);
  return result;
}

std::set<std::string> Tree() {
  std::set<std::string> tree;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator("/")) {
    tree.insert(entry.path());
  }
  return tree;
}

// Below a root that holds the directories /opt/zx and the file /file.
TEST(Directories, ChainIsCompleted) {
  const std::string n(127, 'n');
  const std::string longest = "/" + n + "/" + n.substr(2);
  const struct {
    const char* name;
    int (*complete)(const char* path);
    std::string path;
    int result;
    std::string working_directory;
    std::set<std::string> made;
  } rows[] = {
      {"checked", Check, "//opt///zx/a//b//q.xml", 0, "/opt/zx", {"/opt/zx/a", "/opt/zx/a/b"}},
      {"checked past a name with a dot", Check, "opt/v1.2/conf/a.xml", 0, "/opt", {"/opt/conf"}},
      {"checked with a name that is too long", Check, "/opt/" + n + n + "nn/zx", 1, "/opt", {}},
      {"built", QVXBuildDirectory, "/a/b.c//d/e", 0, "/", {"/a", "/a/b.c", "/a/b.c/d"}},
      {"built, the longest", QVXBuildDirectory, longest + "/x", 0, "/", {"/" + n, longest}},
      {"built, not looked at", QVXBuildDirectory, longest + "n/x", 0, "/", {}},
      {"built below a file", QVXBuildDirectory, "/file/x/cert.pem", -1, "/", {}},
      {"built on a drive", QVXBuildDirectory, "/c:/a/cert.pem", -1, "/", {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const TempDirectory root;
    fs::create_directories(root.path() / "opt/zx");
    WriteText(root.path() / "file", "");
    PassIsolated(0, [&row, &root] {
      EXPECT_EQ(chroot(root.path().c_str()), 0);
      EXPECT_EQ(chdir("/"), 0);
      std::set<std::string> tree = Tree();
      EXPECT_EQ(row.complete(row.path.c_str()), row.result);
      EXPECT_EQ(fs::current_path(), row.working_directory);
      tree.insert(row.made.begin(), row.made.end());
      EXPECT_EQ(Tree(), tree);
    });
  }
}

TEST(OpenFile, ModesAreThoseOfTheLibrary) {
  const TempDirectory root;
  const std::string path = root.path() / "file";
  WriteText(path, "text");
  for (const char* mode : {"", "z", "wx", "a+x"}) {
    EXPECT_FALSE(OpenFile(path, mode)) << mode;
    EXPECT_EQ(errno, std::strchr(mode, 'x') != nullptr ? EEXIST : EINVAL);
  }
  std::fputs("T", OpenFile(path, "r+").get());
  std::fputs("!", OpenFile(path, "a").get());
  EXPECT_EQ(Contents(path), "Text!");
  EXPECT_TRUE(OpenFile(path, "w+"));
  EXPECT_EQ(Contents(path), "");
  EXPECT_EQ(sopen((root.path() / "missing/file").c_str(), O_CREAT, F_WRLCK, 0600), -1);
  EXPECT_EQ(filelength(-1), -1);
}

TEST(OpenFile, IsMadeAndRemovedByOthersMeanwhile) {
  const TempDirectory root;
  const std::string path = root.path() / "file";
  PassIsolated(0, [&path] {
    const pid_t other = fork();
    for (int count = 0; count < 20000; ++count) {
      EXPECT_TRUE(OpenFile(path, "a"));
      unlink(path.c_str());
    }
    if (other == 0) {
      _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(status, 0);
  });
}

TEST(OpenDescriptor, MayBeStandardInput) {
  PassIsolated(0, [] {
    close(STDIN_FILENO);
    EXPECT_TRUE(OpenDescriptor("/dev/../etc/passwd", O_RDONLY));
    EXPECT_EQ(open("/dev/null", O_RDONLY), STDIN_FILENO) << "it is closed again";
  });
}

TEST(OpenDescriptor, LocksAndTruncates) {
  const TempDirectory root;
  const std::string path = root.path() / "locked";
  const Descriptor file(sopen(path.c_str(), O_CREAT, F_WRLCK, 0600));
  EXPECT_EQ(ModeOf(path), 0664U);
  EXPECT_EQ(chsize(file.get(), 300), 0);
  EXPECT_EQ(filelength(file.get()), 300);
  EXPECT_EQ(tell(file.get()), 0);
  EXPECT_EQ(chmod(path.c_str(), 0600), 0);
  PassIsolated(0, [&] { EXPECT_EQ(sopen(path.c_str(), O_TRUNC, F_RDLCK, 0), -1); });
  EXPECT_EQ(filelength(file.get()), 0) << "truncated, though the lock was refused";
  EXPECT_EQ(ModeOf(path), 0600U) << "only a new one is shared";
}

}  // namespace
}  // namespace qvx::test
