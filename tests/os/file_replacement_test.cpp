#include "os/file_replacement.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "os/service_account.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;

size_t Entries(const fs::path& directory) {
  return static_cast<size_t>(std::distance(fs::directory_iterator(directory), {}));
}

TEST(FileReplacement, BesideTheOldFileAndBornAsItStays) {
  const TempDirectory root;
  const fs::path path = root.path() / "file";
  // A process that is gone, one that is alive, and what is no name or no file of ours.
  WriteText(root.path() / ".other.xml.4194305.new", "");
  WriteText(root.path() / (".file." + std::to_string(getppid()) + ".new"), "");
  WriteText(root.path() / ".file.x.new", "");
  WriteText(root.path() / "file.4194305.new", "");
  fs::create_symlink("file", root.path() / ".link.4194305.new");
  WriteText(path, "old");
  PassIsolated(0, [&] {
    umask(0);
    WriteText(root.path() / (".other." + std::to_string(getpid()) + ".new"), "of an earlier one");
    RemoveLeftovers(path);
    WriteText(root.path() / (".file." + std::to_string(getpid()) + ".new"), "made meanwhile");
    FileReplacement file(path, ServiceFile());
    EXPECT_TRUE(file.Write(std::string(100000, 'n')));
    EXPECT_EQ(Contents(path), "old");
    EXPECT_TRUE(file.Commit());
    EXPECT_FALSE(FileReplacement(path, OwnFile(0640)).CommitNew()) << "one stands there";
  });
  EXPECT_EQ(Contents(path), std::string(100000, 'n'));
  EXPECT_EQ(ModeOf(path), 0660U);
  EXPECT_EQ(OwnerOf(path), ServiceOwner());
  EXPECT_EQ(Entries(root.path()), 5U);
}

TEST(FileReplacement, OnlyRegularFilesAreReplaced) {
  const TempDirectory root;
  fs::current_path(root.path());
  ASSERT_EQ(std::system("mkdir directory; mkfifo fifo; mknod device c 1 3; ln -s file link"), 0);
  WriteText(root.path() / "file", "old");
  for (const char* name : {"directory", "fifo", "device"}) {
    EXPECT_FALSE(ReplaceFile(name, OwnFile(0600), "new")) << name;
  }
  EXPECT_TRUE(ReplaceFile("link", OwnFile(0600), "through the link"));
  EXPECT_EQ(Contents("file"), "through the link");
  EXPECT_TRUE(FileReplacement("link", OwnFile(0600), LastLink::kStay).Commit());
  EXPECT_EQ(Contents("file"), "through the link");
  EXPECT_EQ(fs::symlink_status("link").type(), fs::file_type::regular);
  EXPECT_EQ(Entries(root.path()), 5U);
}

// The account may write its files but make none beside them.
TEST(FileReplacement, InPlaceWhereTheFileIsAMountOrTheDirectoryClosed) {
  const TempDirectory root;
  ServiceOwner();
  PassIsolated(CLONE_NEWNS, [&] {
    EXPECT_EQ(mount("none", root.path().c_str(), "tmpfs", 0, "size=8192,mode=755"), 0);
    const fs::path path = root.path() / "file";
    const fs::path mounted = root.path() / "mounted";
    WriteText(path, "old");
    WriteText(mounted, "");
    const AccountIds account = LookUpServiceAccount().ids.value();
    EXPECT_EQ(chown(path.c_str(), account.user, account.group), 0);
    EXPECT_EQ(chmod(path.c_str(), 0644), 0);
    EXPECT_EQ(mount(path.c_str(), mounted.c_str(), "none", MS_BIND, nullptr), 0);
    EXPECT_EQ(ForeseeReplacement(mounted), 0);
    EXPECT_TRUE(ReplaceFile(mounted, OwnFile(0600), std::string(4096, 'm')));
    EXPECT_EQ(Contents(path), std::string(4096, 'm'));
    EXPECT_FALSE(ReplaceFile(path, ServiceFile(), std::string(8193, 'n')));
    EXPECT_EQ(mount(nullptr, mounted.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr),
              0);
    EXPECT_EQ(ForeseeReplacement(mounted), EROFS);
    PassIsolated(0, [&] {
      EXPECT_TRUE(BecomeServiceAccount(account, Groups::kAll));
      EXPECT_FALSE(ReplaceFile(path, ServiceFile(), std::string(8193, 'n')));
      EXPECT_EQ(Contents(path), std::string(4096, 'm'));
      EXPECT_EQ(ForeseeReplacement(path), 0);
      EXPECT_TRUE(ReplaceFile(path, ServiceFile(), "new"));
      EXPECT_EQ(Contents(path), "new");
      EXPECT_EQ(ModeOf(path), 0644U);
      Birth secret = ServiceFile();
      secret.is_secret = true;
      EXPECT_TRUE(ReplaceFile(path, secret, "secret"));
      EXPECT_EQ(ModeOf(path), 0640U);
      EXPECT_FALSE(FileReplacement(path, ServiceFile(), LastLink::kFollow, Fallback::kNone));
    });
  });
}

TEST(ServiceAccount, KeepsNothingOfRoots) {
  ServiceOwner();
  const AccountIds account = LookUpServiceAccount().ids.value();
  PassIsolated(0, [&] {
    EXPECT_EQ(setresuid(account.user, 0, 0), 0);  // as a program with the set-user-ID bit
    EXPECT_TRUE(BecomeServiceAccount(account, Groups::kOwn));
    gid_t groups[3] = {};
    EXPECT_EQ(getgroups(3, groups), 1);
    EXPECT_EQ(groups[0], account.group);
    EXPECT_EQ(setresuid(0, 0, 0), -1);
    EXPECT_EQ(setresgid(0, 0, 0), -1);
  });
}

}  // namespace
}  // namespace qvx::test
