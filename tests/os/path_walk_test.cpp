#include "os/path_walk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <vector>

#include "os/files.h"
#include "tests/harness/installation.h"

namespace qvx::test {
namespace {

/// Directories of root's and of another account, with files of both and every kind of link.
class PathWalk : public testing::Test {
 protected:
  PathWalk() {
    std::filesystem::current_path(root_.path());
    ServiceOwner();
    EXPECT_EQ(std::system(R"(umask 022
mkdir own other shared sticky; chown 65534 other; chmod 777 shared; chmod 1777 sticky
mkdir shared/directory shared/folder; chown 65534 shared/folder; ln -s "$PWD/target" own/absolute
echo target >target; echo key | tee key >key2; ln key other/hard; ln key2 shared/hard
for d in own other shared sticky; do
  echo root >$d/root; echo theirs >$d/theirs; chown 65534 $d/theirs
  ln -s ../target $d/link; ln -s ../target $d/foreign; chown -h 65534 $d/foreign
  ln -s ../missing $d/dangling
done
for f in accounts linked; do echo $f >other/$f; chown zxqvx other/$f; done; ln other/linked own
ln -s link own/chain; ln -s ../target own/link1; for i in $(seq 40); do ln -s link$i own/link$((i + 1)); done
ln -s loop own/loop; ln -s ../own own/up
mkfifo own/fifo; mknod own/device c 1 3; mknod own/nobodys c 10 100)"),
              0);
  }

  const TempDirectory root_;
};

TEST_F(PathWalk, WhatMayBeReadAndChanged) {
  const struct {
    int read = 0;  // the error, or 0
    int change = read;
    std::vector<const char*> paths;
  } rows[] = {
      {.paths = {"own/root", "own/theirs", "own/up/up/chain", "own/absolute", "own/link40",
                 "other/theirs", "other/accounts", "other/../own/root", "shared/root",
                 "sticky/link"}},
      {.change = ELOOP, .paths = {"other/root", "other/link", "shared/link"}},
      {.change = EISDIR, .paths = {"own", "shared/directory"}},
      {.read = ELOOP,
       .paths = {"own/foreign", "own/loop", "own/link41", "other/hard", "other/linked",
                 "other/foreign", "shared/hard", "sticky/foreign"}},
      // The kernel's own error for a device without a driver would be another one.
      {.read = ENXIO, .paths = {"own/fifo", "own/device", "own/nobodys"}},
      {.read = ENOTDIR, .paths = {"own/root/x"}},
      {.read = ENOENT, .paths = {"own/dangling", "missing/x"}},
  };
  for (const auto& row : rows) {
    for (const char* path : row.paths) {
      SCOPED_TRACE(path);
      EXPECT_EQ(OpenDescriptor(root_.path() / path, O_RDONLY) ? 0 : errno, row.read);
      EXPECT_EQ(OpenDescriptor(root_.path() / path, O_RDWR) ? 0 : errno, row.change);
    }
  }
  EXPECT_FALSE(FindPlace("/" + std::string(PATH_MAX - 1, '/'), Access::kRead));
  EXPECT_FALSE(FindPlace("", Access::kRead));
  EXPECT_FALSE(FindPlainPlace(std::string(PATH_MAX - 3, '/') + "dev"));
  EXPECT_FALSE(FindPlainPlace("/dev")->is_held) << "that stays unknown";
  const std::optional<Place> folder = FindPlace("shared/folder", Access::kChange);
  EXPECT_FALSE(MayStep(*folder, folder->entry_status, Access::kChange));
}

TEST_F(PathWalk, HeldMeansThatNobodyElseCanExchangeIt) {
  const auto is_held = [this](const char* path) {
    return FindPlace(root_.path() / path, Access::kChange)->is_held;
  };
  for (const char* path : {"own/root", "own/new", "sticky/root"}) {
    EXPECT_TRUE(is_held(path)) << path;
  }
  for (const char* path : {"other/theirs", "other/new", "shared/new", "sticky/new", "sticky/theirs",
                           "own/../other/new", "shared/../own/new"}) {
    EXPECT_FALSE(is_held(path)) << path;
  }
  EXPECT_EQ(chmod("own", 0775), 0);
  EXPECT_TRUE(is_held("own/new")) << "root's group";
  EXPECT_EQ(std::system("setfacl -m u:65534:rwx own"), 0);
  EXPECT_FALSE(is_held("own/new")) << "an access list";
  EXPECT_EQ(std::system("setfacl -b own; chown 0:65534 own"), 0);
  EXPECT_FALSE(is_held("own/new"));
}

TEST_F(PathWalk, CreatingGoesThroughTrustedLinksOnly) {
  EXPECT_TRUE(OpenDescriptor("own/dangling", O_WRONLY | O_CREAT, 0600));
  EXPECT_EQ(ModeOf("missing"), 0600U);
  EXPECT_FALSE(OpenDescriptor("own/root", O_WRONLY | O_CREAT | O_EXCL, 0600));
  EXPECT_FALSE(OpenDescriptor("other/dangling", O_WRONLY | O_CREAT, 0600));
  EXPECT_TRUE(RemoveName("own/foreign"));
  EXPECT_TRUE(RemoveName("own/fifo"));
  EXPECT_FALSE(RemoveName("own/device"));
  EXPECT_EQ(Contents("target"), "target\n");
}

TEST_F(PathWalk, DirectoriesAndTheirErrors) {
  EXPECT_EQ(OpenDirectory("own") ? 0 : errno, 0);
  EXPECT_EQ(OpenDirectory("own/root") ? 0 : errno, ENOTDIR);
  EXPECT_EQ(OpenDirectory("own/none") ? 0 : errno, ENOENT);
  EXPECT_EQ(ReadRest(OpenDescriptor("target", O_RDONLY), 7), "target\n");
  EXPECT_EQ(ReadRest(OpenDescriptor("target", O_RDONLY), 6), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
}

}  // namespace
}  // namespace qvx::test
