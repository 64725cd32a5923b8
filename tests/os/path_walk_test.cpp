#include "os/path_walk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

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
mkdir shared/directory; ln -s "$PWD/target" own/absolute
echo target >target; echo key | tee key >key2; ln key other/hard; ln key2 shared/hard
for d in own other shared sticky; do
  echo root >$d/root; echo theirs >$d/theirs; chown 65534 $d/theirs
  ln -s ../target $d/link; ln -s ../target $d/foreign; chown -h 65534 $d/foreign
  ln -s ../missing $d/dangling
done
for f in accounts linked; do echo $f >other/$f; chown zxqvx other/$f; done; ln other/linked own
ln -s link own/chain; ln -s loop own/loop; ln -s ../own own/up
mkfifo own/fifo; mknod own/device c 1 3)"),
              0);
  }

  const TempDirectory root_;
};

TEST_F(PathWalk, WhatMayBeReadAndChanged) {
  const struct {
    const char* path;
    int read;    // the error, or 0
    int change;  // the same
  } rows[] = {
      {"own/root", 0, 0},
      {"own/theirs", 0, 0},
      {"own/up/up/chain", 0, 0},
      {"own/absolute", 0, 0},
      {"own/foreign", ELOOP, ELOOP},
      {"own/loop", ELOOP, ELOOP},
      {"own/fifo", ENXIO, ENXIO},
      {"own/device", ENXIO, ENXIO},
      {"own", 0, EISDIR},
      {"own/root/x", ENOTDIR, ENOTDIR},
      {"own/dangling", ENOENT, ENOENT},
      {"missing/x", ENOENT, ENOENT},
      {"other/root", 0, ELOOP},
      {"other/theirs", 0, 0},
      {"other/hard", ELOOP, ELOOP},
      {"other/accounts", 0, 0},
      {"other/linked", ELOOP, ELOOP},
      {"other/link", 0, ELOOP},
      {"other/foreign", ELOOP, ELOOP},
      {"other/../own/root", 0, 0},
      {"shared/root", 0, 0},
      {"shared/hard", ELOOP, ELOOP},
      {"shared/link", 0, ELOOP},
      {"shared/directory", 0, EISDIR},
      {"sticky/link", 0, 0},
      {"sticky/foreign", ELOOP, ELOOP},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const std::string path = root_.path() / row.path;
    EXPECT_EQ(OpenDescriptor(path, O_RDONLY) ? 0 : errno, row.read);
    EXPECT_EQ(OpenDescriptor(path, O_RDWR) ? 0 : errno, row.change);
  }
  EXPECT_FALSE(FindPlace("/" + std::string(PATH_MAX - 1, '/'), Access::kRead));
  EXPECT_FALSE(FindPlace("", Access::kRead));
}

TEST_F(PathWalk, HeldMeansThatNobodyElseCanExchangeIt) {
  const struct {
    const char* path;
    bool is_held;
  } rows[] = {{"own/root", true},          {"own/new", true},        {"other/theirs", false},
              {"other/new", false},        {"shared/new", false},    {"sticky/root", true},
              {"sticky/new", false},       {"sticky/theirs", false}, {"own/../other/new", false},
              {"shared/../own/new", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(FindPlace(root_.path() / row.path, Access::kChange)->is_held, row.is_held);
  }
  EXPECT_EQ(chmod("own", 0775), 0);
  EXPECT_TRUE(FindPlace(root_.path() / "own/new", Access::kChange)->is_held) << "root's group";
  EXPECT_EQ(std::system("setfacl -m u:65534:rwx own"), 0);
  EXPECT_FALSE(FindPlace(root_.path() / "own/new", Access::kChange)->is_held) << "an access list";
  EXPECT_EQ(std::system("setfacl -b own"), 0);
  EXPECT_EQ(chown("own", 0, 65534), 0);
  EXPECT_FALSE(FindPlace(root_.path() / "own/new", Access::kChange)->is_held);
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
}

}  // namespace
}  // namespace qvx::test
