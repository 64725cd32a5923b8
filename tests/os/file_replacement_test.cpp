#include "os/file_replacement.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <numeric>
#include <set>

#include "os/file_exchange.h"
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
  WriteText(path, "old");
  PassIsolated(0, [&] {
    umask(0);
    FileReplacement file(path, ServiceFile());
    EXPECT_TRUE(file.Write(std::string(100000, 'n')));
    EXPECT_EQ(Contents(path), "old");
    EXPECT_TRUE(file.Commit());
    EXPECT_FALSE(FileReplacement(path, OwnFile(0640)).CommitNew()) << "one stands there";
  });
  EXPECT_EQ(Contents(path), std::string(100000, 'n'));
  EXPECT_EQ(ModeOf(path), 0660U);
  EXPECT_EQ(OwnerOf(path), ServiceOwner());
  EXPECT_EQ(Entries(root.path()), 1U);
}

// As on a share that squashes root, in a folder that hands on its group.
TEST(FileReplacement, ForeignGroupGetsWhatEverybodyGets) {
  const TempDirectory root;
  EXPECT_EQ(chown(root.path().c_str(), 65534, 4711), 0);
  EXPECT_EQ(chmod(root.path().c_str(), 02755), 0);
  PassIsolated(0, [&] {
    EXPECT_EQ(setgroups(0, nullptr), 0);
    setfsgid(65534);
    setfsuid(65534);
    EXPECT_TRUE(ReplaceFile(root.path() / "closed", ServiceFile(), ""));
    EXPECT_TRUE(ReplaceFile(root.path() / "open", OwnFile(0644), ""));
    EXPECT_TRUE(ReplaceFile(root.path() / "shared", {.user = 0, .group = 4711, .mode = 0660}, ""));
  });
  EXPECT_EQ(OwnerOf(root.path() / "closed"), "65534:4711");
  EXPECT_EQ(ModeOf(root.path() / "closed"), 0600U);
  EXPECT_EQ(ModeOf(root.path() / "open"), 0644U);
  EXPECT_EQ(ModeOf(root.path() / "shared"), 0660U);
}

// Numbers above 4194304 are those of no process.
TEST(FileReplacement, RemovesWhatAKilledMakerLeft) {
  const TempDirectory root;
  const fs::path path = root.path() / "file";
  const std::set<std::string> staying = {".file.x.new", "file.4194305.new", ".other.4194305.new",
                                         ".file.4194306.new",
                                         ".file." + std::to_string(getppid()) + ".new"};
  for (const std::string& name : staying) {
    WriteText(root.path() / name, "");
  }
  const std::string of_another = root.path() / ".file.4194307.new";
  WriteText(of_another, "");
  EXPECT_EQ(chown(of_another.c_str(), 65534, 0), 0);
  EXPECT_EQ(mkfifo((root.path() / ".file.4194308.new").c_str(), 0600), 0);
  fs::create_symlink("file", root.path() / ".file.4194309.new");
  WriteText(root.path() / ".file.4194305.new", "of a process that is gone");
  const Descriptor living(open((root.path() / ".file.4194306.new").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(flock(living.get(), LOCK_EX), 0);
  PassIsolated(0, [&] {
    const std::string own = root.path() / (".file." + std::to_string(getpid()) + ".new");
    WriteText(own, "of an earlier process");
    EXPECT_TRUE(ReplaceFile(path, OwnFile(0600), "new"));
    EXPECT_FALSE(fs::exists(own));
    WriteText(own, "of a process in another namespace");
    const Descriptor other(open(own.c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(flock(other.get(), LOCK_EX), 0);
    EXPECT_TRUE(ReplaceFile(path, OwnFile(0600), "newer"));
    EXPECT_EQ(Contents(own), "of a process in another namespace");
    fs::remove(own);
  });
  EXPECT_EQ(Contents(path), "newer");
  EXPECT_EQ(Entries(root.path()), staying.size() + 4);
}

TEST(FileReplacement, OnlyRegularFilesAreReplaced) {
  const TempDirectory root;
  fs::current_path(root.path());
  ASSERT_EQ(std::system("mkdir directory; mkfifo fifo; mknod device c 1 3; ln -s file link"), 0);
  WriteText(root.path() / "file", "old");
  for (const char* name : {"directory", "fifo", "device"}) {
    EXPECT_FALSE(ReplaceFile(name, OwnFile(0600), "new")) << name;
    EXPECT_FALSE(FileReplacement(name, OwnFile(0600)).CommitNew()) << name;
  }
  EXPECT_EQ(ForeseeRemoval("directory"), EISDIR);
  EXPECT_EQ(ForeseeRemoval("device"), EPERM);
  EXPECT_EQ(ForeseeRemoval("none"), ENOENT);
  EXPECT_EQ(ForeseeRemoval("none/none"), ENOENT);
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

// The number is that of no process.
TEST(FileExchange, OfAKilledRunIsTakenBackAsAWhole) {
  const struct {
    const char* name;
    const char* leave;  // what a run leaves besides its old "a" and its new "b"
    const char* left;
  } rows[] = {
      {"both", "echo new >a; echo new >.a.4194305.undo; echo old >.a.4194305.old", "a:old b:old "},
      {"the first is accepted", "echo new >a", "a:new b:new "},
      {"one cannot be read now",
       "rm .b.*undo; mkdir .b.4194305.undo; echo new | tee a >.a.4194305.undo; "
       "echo old >.a.4194305.old",
       ".a.4194305.old:new .a.4194305.undo:new .b.4194305.old:old .b.4194305.undo: a:old b:new "},
      {"the first was new", "rm .b.*; echo new | tee a >.a.4194305.undo", "b:new "},
      {"the first was not written yet", ">a; >.a.4194305.undo; echo x >.a.4194305.old",
       "a: b:old "},
      {"what it wrote is too long", "echo new >a; truncate -s 2M .a.4194305.undo", "a:new b:old "},
      {"somebody wrote more", "echo newer >a; echo new >.a.4194305.undo; echo old >.a.4194305.old",
       "a:newer b:old "},
      {"somebody took it away", "echo new >.a.4194305.undo; echo old >.a.4194305.old", "b:old "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const TempDirectory root;
    fs::current_path(root.path());
    EXPECT_EQ(std::system("echo new | tee b >.b.4194305.undo; echo old >.b.4194305.old"), 0);
    EXPECT_EQ(std::system(row.leave), 0);
    TakeBackExchanges(root.path() / "", {"a", "b"}, Runs::kEnded);
    std::set<std::string> left;
    for (const fs::directory_entry& entry : fs::directory_iterator(".")) {
      const std::string text = entry.is_directory() ? "" : Contents(entry.path()).value_or("");
      left.insert(entry.path().filename().string() + ":" + text.substr(0, text.find('\n')) + " ");
    }
    EXPECT_EQ(std::accumulate(left.begin(), left.end(), std::string()), row.left);
  }
}

// The file system cannot reserve space, so the fault comes when a page has been written.
TEST(FileReplacement, InPlaceTheOldTextIsPutBack) {
  PassIsolated(CLONE_NEWNS, [] {
    EXPECT_EQ(mount("none", "/mnt", "ramfs", 0, nullptr), 0);
    EXPECT_TRUE(ReplaceFile("/mnt/file", OwnFile(0600), "old")) << "without access lists";
    EXPECT_EQ(mount("/mnt/file", "/mnt/file", "none", MS_BIND, nullptr), 0);
    signal(SIGXFSZ, SIG_IGN);
    const rlimit page{4096, 4096};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &page), 0);
    EXPECT_FALSE(ReplaceFile("/mnt/file", OwnFile(0600), std::string(5000, 'n')));
    EXPECT_EQ(Contents("/mnt/file"), "old");
  });
}

TEST(FileReplacement, WhatLacksAPieceDoesNotTakeThePlace) {
  const TempDirectory root;
  const std::string path = root.path() / "file";
  WriteText(path, "old");
  PassIsolated(0, [&] {
    signal(SIGXFSZ, SIG_IGN);
    FileReplacement file(path, OwnFile(0600));
    for (const rlim_t size : {rlim_t{4096}, RLIM_INFINITY}) {
      const rlimit limit{size, RLIM_INFINITY};
      EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
      EXPECT_FALSE(file.Write(std::string(100000, 'n')));
    }
    EXPECT_FALSE(file.Commit());
  });
  EXPECT_EQ(Contents(path), "old");
}

// A run that goes on must find what it has put there, so that of a live run is taken back under a
// lock only.
TEST(FileExchange, IsTakenBackUnlessItIsAccepted) {
  const TempDirectory root;
  const std::string path = root.path() / "file";
  enum End { kLeft, kTakenBackByAnother, kAccepted };
  for (const End end : {kLeft, kTakenBackByAnother, kAccepted}) {
    SCOPED_TRACE(end);
    WriteText(path, "old");
    FileReplacement file(path, OwnFile(0600));
    EXPECT_TRUE(file.Write("new"));
    {
      FileExchange exchange(file, path, "new", [](const std::string&) { return true; });
      EXPECT_EQ(exchange.Exchange(), qvx::Outcome::kDone);
      TakeBackExchanges(root.path() / "", {"file"}, Runs::kEnded);
      EXPECT_EQ(Contents(path), "new");
      if (end == kTakenBackByAnother) {
        TakeBackExchanges(root.path() / "", {"file"}, Runs::kAll);
        EXPECT_EQ(Contents(path), "old");
      } else if (end == kAccepted) {
        exchange.Accept();
      }
    }
    EXPECT_EQ(Contents(path), end == kAccepted ? "new" : "old");
    EXPECT_EQ(Entries(root.path()), 1U) << "nothing is left over";
  }
}

// The name services pass over blanks in front of a name.
TEST(ServiceAccount, IsThatOfTheLocalFileOrOfTheNameServices) {
  const std::string blank = " zxqvx:x:12:34:";
  const struct {
    std::string accounts;
    uid_t user = 0;  // none
  } rows[] = {
      {.accounts = "zxqvxx:x:1:2:::\nzxqvx:x:12:34:::\n", .user = 12},
      {.accounts = "xzxqvx:x:1:2:::\nzxqvx\n"},
      {.accounts = "zxqvx:x:root:root:::\n"},
      {.accounts = blank + "::\n", .user = 12},
      {.accounts = blank + std::string(5000, 'n') + "::\n", .user = 12},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.accounts.substr(0, 40));
    PassIsolated(CLONE_NEWNS, [&row] {
      EXPECT_EQ(mount("none", "/mnt", "tmpfs", 0, nullptr), 0);
      WriteText("/mnt/passwd", row.accounts);
      EXPECT_EQ(mount("/mnt/passwd", "/etc/passwd", "", MS_BIND, nullptr), 0);
      EXPECT_EQ(LookUpServiceAccount().ids.value_or(AccountIds{}).user, row.user);
      EXPECT_EQ(LookUpServiceAccount().error, 0);
    });
  }
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
