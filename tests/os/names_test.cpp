#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <set>

#include "os/console.h"
#include "os/directories.h"
#include "os/directory_search.h"
#include "os/host.h"
#include "os/paths.h"
#include "os/strings.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

TEST(DirectoryResolvers, EnvironmentOrDefault) {
  // The variables for installation, writable, log and TLS directory; then what the four are.
  const std::optional<std::string> rows[][5] = {
      {{}, {}, {}, {}, "/opt/zx/zxqvx|/opt/zx/zxqvx|/var/spool/opt/zx/zxqvx|/etc/opt/zx/sslshare"},
      {"/b/", "", "/l", "/t", "/b/||/l|/t"},
      {{}, "/w", "", "", "/opt/zx/zxqvx|/w||"},
      {"", {}, {}, std::string(5000, 't'), "||/var/spool/opt/zx/zxqvx|" + std::string(4095, 't')},
  };
  for (const auto& row : rows) {
    const Variable base("SYSMGTZX_BASE_DIR", row[0]);
    const Variable write("SYSMGTZX_WRITE_DIR", row[1]);
    const Variable log("SYSMGTZX_LOG_DIR", row[2]);
    const Variable tls("SSL_SHARE_BASE_DIR", row[3]);
    EXPECT_EQ(InstallationPath("|") + WritablePath("|") + LogPath("|") + TlsSharePath(), row[4]);
  }
}

/// The result of OSSplitPath with buffers of `capacity` bytes, then each part and its size.
std::string SplitPath(const char* path, uint32_t capacity) {
  char parts[4][99] = {"#", "#", "#", "#"};
  uint32_t sizes[4] = {capacity, capacity, capacity, capacity};
  std::string all = std::to_string(OSSplitPath(path, parts[0], &sizes[0], parts[1], &sizes[1],
                                               parts[2], &sizes[2], parts[3], &sizes[3]));
  for (int part = 0; part < 4; ++part) {
    all.append(" ").append(parts[part]).append("|").append(std::to_string(sizes[part]));
  }
  return all;
}

TEST(Paths, SplitIntoParts) {
  EXPECT_EQ(SplitPath("/opt/v1.2/q.conf.xml", 99), "1 |0 /opt/v1.2/|11 q.conf|7 .xml|5");
  EXPECT_EQ(SplitPath("name", 0), "0 #|0 #|0 #|5 #|1");
  EXPECT_EQ(SplitPath("c:dir/abc.x", 4), "0 c:|3 #|5 abc|4 .x|3");
  EXPECT_EQ(SplitPath("//server/share/dir/x.y", 99), "1 //server/share|15 /dir/|6 x|2 .y|3");
  EXPECT_EQ(SplitPath("\\\\a/b/c\\d/x", 99), "1 \\\\a/b/c\\d|10 /|2 x|2 |1");
}

TEST(Paths, MadeAbsolute) {
  const TempDirectory root;
  std::filesystem::create_directories(root.path() / std::string(250, 'd'));
  std::filesystem::current_path(root.path());
  const std::string top = root.path();
  char output[kPathCapacity];
  EXPECT_EQ(_fullpath(output, "./x/./y", top.size() + 7), top + "/x/./y");
  EXPECT_EQ(_fullpath(output, "../x/../y", sizeof(output)), root.path().parent_path() / "x/../y");
  EXPECT_STREQ(_fullpath(output, "../../../x", 4), "//x");
  EXPECT_EQ(_fullpath(output, "../../../x", 3), nullptr);
  std::filesystem::current_path(std::string(250, 'd'));
  EXPECT_EQ(_fullpath(output, "x", sizeof(output)), nullptr);
}

std::set<std::string> Find(const std::filesystem::path& pattern_path) {
  OSFindRecord record{};
  std::set<std::string> names;
  const OSFindHandle search = OSFindFirstFile(pattern_path.c_str(), &record);
  for (int next = search == kNoSearch ? -1 : 0; next == 0; next = OSFindNextFile(search, &record)) {
    struct stat status {};
    EXPECT_EQ(stat((pattern_path.parent_path() / record.name).c_str(), &status), 0);
    EXPECT_TRUE(record.attributes == status.st_mode && record.size == status.st_size &&
                record.last_write_time == status.st_mtime && record.entry_number == status.st_ino);
    names.insert(record.name);
  }
  EXPECT_EQ(OSFindClose(search), 0);
  return names;
}

TEST(DirectorySearch, NamesThatMatch) {
  const TempDirectory root;
  for (const char* name : {"a.xml", ".c.xml", "noext", "sub/x"}) {
    WriteText(root.path() / name, name);
  }
  const std::pair<std::string, std::set<std::string>> rows[] = {
      {"*.xml", {"a.xml"}}, {"*.*", {"a.xml", "noext", "sub"}},
      {"n*.*.*", {}},       {".*l", {".c.xml"}},
      {"sub/?", {"x"}},     {std::string(5000, '*'), {}},
      {"missing/*", {}}};
  for (const auto& [pattern, names] : rows) {
    EXPECT_EQ(Find(root.path() / pattern), names) << pattern;
  }
}

TEST(Strings, ComparedWithoutCase) {
  const std::tuple<const char*, const char*, int, int> rows[] = {
      {"QVX_CONFIG", "qvx_config", 20, 0},
      {"qvx", "QVX_config", 3, 0},
      {"qvx", "QVX_config", 4, -7},
      {"qvx_config", "qvx", 11, 7},
      {"a", "b", -1, 0},
      {"\xE4X", "az", 1, 0xE4 - 'a'},
  };
  for (const auto& [a, b, n, result] : rows) {
    EXPECT_EQ(strnicmp(a, b, n), result) << a << " " << b << " " << n;
  }
}

TEST(Strings, LineIsSplitIntoArguments) {
  char* found[8];
  char line[] = " \ta ,x\"b, ;\"y;c, d \x1A e\n";
  EXPECT_EQ(strcarg(line, found, ", "), 3);
  EXPECT_EQ(std::string(found[0]) + "|" + found[1] + "|" + found[2], "a||x\"b, ;\"y;c, d ");
  char untrimmed[] = " a,,b,c \n";
  EXPECT_EQ(strcnargcn(untrimmed, found, ",", 3, ';', 0), 3);
  EXPECT_EQ(std::string(found[0]) + "|" + found[1] + "|" + found[2], " a||b,c \n");
}

TEST(Host, NamesSignalsAndConsole) {
  const TempDirectory root;
  const int status = RunIsolated(CLONE_NEWUTS, [&root] {
    char cut[4];
    EXPECT_EQ(sethostname("console-host", 12) | chroot(root.path().c_str()), 0);
    OSGetSystemName(cut, sizeof(cut));
    OSOutputConsole(cut);
    OSOutputConsole("sole\n");
    return FailuresAsStatus() | OSInitializeSocket() | raise(SIGPIPE);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Contents(root.path() / "console.bug"), "console\n");
  EXPECT_STREQ(OSInt_to_Address(0x7F000102), "127.0.1.2");
  const Variable language("LANG", "JP_x");
  EXPECT_STREQ(OSGetDefaultLanguage(), "jpn");
}

}  // namespace
}  // namespace qvx::test
