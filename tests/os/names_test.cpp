#include <sys/stat.h>

#include <csignal>
#include <cstring>
#include <set>
#include <vector>

#include "os/commands.h"
#include "os/console.h"
#include "os/directories.h"
#include "os/directory_search.h"
#include "os/files.h"
#include "os/host.h"
#include "os/paths.h"
#include "os/strings.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

TEST(DirectoryResolvers, EnvironmentOrDefault) {
  const std::string base = "/opt/zx/zxqvx";
  const std::string log = "/var/spool/opt/zx/zxqvx";
  const std::string tls = "/etc/opt/zx/sslshare";
  const struct {
    const char* name;
    std::optional<std::string> variables[4] = {};  // installation, what is written, log, TLS share
    std::string found[4];
  } rows[] = {
      {.name = "unset", .found = {base, base, log, tls}},
      {"set", {"/b/", "/w", "/l", "/t"}, {"/b/", "/w", "/l", "/t"}},
      {.name = "empty", .variables = {"", {}, "", ""}, .found = {}},
      {"too long", {{}, "", {}, std::string(5000, 't')}, {base, "", log, std::string(4095, 't')}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Variable variables[] = {{"SYSMGTZX_BASE_DIR", row.variables[0]},
                                  {"SYSMGTZX_WRITE_DIR", row.variables[1]},
                                  {"SYSMGTZX_LOG_DIR", row.variables[2]},
                                  {"SSL_SHARE_BASE_DIR", row.variables[3]}};
    EXPECT_EQ(InstallationPath(), row.found[0]);
    EXPECT_EQ(WritablePath(), row.found[1]);
    EXPECT_EQ(LogPath("/x"), row.found[2] + "/x");
    EXPECT_EQ(TlsSharePath(), row.found[3]);
  }
}

/// The result, and each of drive, directory, name and extension with its size. "#" stands where
/// nothing is stored.
std::string Split(const char* path, uint32_t capacity) {
  char texts[4][99] = {"#", "#", "#", "#"};
  uint32_t sizes[4] = {capacity, capacity, capacity, capacity};
  std::string parts = std::to_string(OSSplitPath(path, texts[0], &sizes[0], texts[1], &sizes[1],
                                                 texts[2], &sizes[2], texts[3], &sizes[3]));
  for (size_t part = 0; part < 4; ++part) {
    parts += std::string(" ") + texts[part] + " " + std::to_string(sizes[part]);
  }
  return parts;
}

TEST(Paths, SplitIntoParts) {
  EXPECT_EQ(Split("/opt/v1.2/q.conf.xml", 99), "1  0 /opt/v1.2/ 11 q.conf 7 .xml 5");
  EXPECT_EQ(Split("name", 0), "0 # 0 # 0 # 5 # 1");
  EXPECT_EQ(Split("c:dir/abc.x", 4), "0 c: 3 # 5 abc 4 .x 3");
  EXPECT_EQ(Split("//server/share/dir/x.y", 99), "1 //server/share 15 /dir/ 6 x 2 .y 3");
  EXPECT_EQ(Split(R"(\a/b\c.d)", 99), "1  0 \\a/b\\ 6 c 2 .d 3");
  EXPECT_EQ(Split("//server", 99), "1  0 // 3 server 7  1");
  EXPECT_EQ(
      OSSplitPath(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
      0);
  EXPECT_EQ(
      OSSplitPath("/a/b.c", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
      1);
  EXPECT_EQ(Split(R"(\\a/b/c\d/x)", 99), R"(1 \\a/b/c\d 10 / 2 x 2  1)");
}

TEST(Paths, DirectoryAndFile) {
  char directory[kPathCapacity];
  char file[kPathCapacity];
  GetDirFile("/a/b/c.d", directory, file);
  EXPECT_STREQ(directory, "/a/b");
  EXPECT_STREQ(file, "c.d");
  GetDirFile("c.d", directory, file);
  EXPECT_STREQ(directory, ".");
  EXPECT_STREQ(file, "c.d");
}

TEST(Paths, MadeAbsolute) {
  const TempDirectory root;
  std::filesystem::create_directories(root.path() / std::string(250, 'd'));
  std::filesystem::current_path(root.path());
  const std::string top = root.path();
  char output[kPathCapacity];
  EXPECT_EQ(_fullpath(output, "./x/./y", top.size() + 7), top + "/x/./y");
  EXPECT_EQ(_fullpath(output, "../x/../y", sizeof output), root.path().parent_path() / "x/../y");
  EXPECT_STREQ(_fullpath(output, "../../../x", 4), "//x");
  EXPECT_EQ(_fullpath(output, "../../../x", 3), nullptr);
  std::filesystem::current_path(std::string(250, 'd'));
  EXPECT_EQ(_fullpath(output, "x", sizeof output), nullptr);
}

std::set<std::string> Find(const std::filesystem::path& pattern_path) {
  OSFindRecord record{};
  std::set<std::string> names;
  const OSFindHandle search = OSFindFirstFile(pattern_path.c_str(), &record);
  for (int next = search == kNoSearch ? -1 : 0; next == 0; next = OSFindNextFile(search, &record)) {
    struct stat status = {};
    stat((pattern_path.parent_path() / record.name).c_str(), &status);
    EXPECT_EQ(record.attributes, status.st_mode);
    EXPECT_EQ(record.size, status.st_size);
    EXPECT_EQ(record.last_write_time, status.st_mtime);
    EXPECT_EQ(record.entry_number, status.st_ino);
    names.insert(record.name);
  }
  EXPECT_EQ(OSFindClose(search), 0);
  return names;
}

TEST(DirectorySearch, NamesThatMatch) {
  using Names = std::set<std::string>;
  const TempDirectory root;
  for (const char* name : {"a.xml", ".c.xml", "noext", "sub/x"}) {
    WriteText(root.path() / name, name);
  }
  EXPECT_EQ(Find(root.path() / "*.xml"), Names{"a.xml"}) << "no hidden ones";
  EXPECT_EQ(Find(root.path() / "*.*"), (Names{"a.xml", "noext", "sub"})) << "every name of old";
  EXPECT_EQ(Find(root.path() / "n*.*.*"), Names()) << "only the first dot may be missing";
  EXPECT_EQ(Find(root.path() / ".*l"), Names{".c.xml"});
  EXPECT_EQ(Find(root.path() / "sub/?"), Names{"x"});
  EXPECT_EQ(Find(root.path() / std::string(5000, '*')), Names());
  for (const size_t length : {4095U, 4096U}) {
    const std::string slashes(length - root.path().native().size() - strlen("noex?"), '/');
    EXPECT_EQ(Find(root.path().native() + slashes + "noex?").size(), length == 4095 ? 1U : 0U);
  }
  EXPECT_EQ(Find(root.path() / "missing/*"), Names());
  std::filesystem::create_symlink("missing", root.path() / "link");
  OSFindRecord record{};
  record.size = -7;
  EXPECT_EQ(OSFindClose(OSFindFirstFile((root.path() / "lin?").c_str(), &record)), 0);
  EXPECT_STREQ(record.name, "link");
  EXPECT_NE(record.entry_number, 0U);
  EXPECT_EQ(record.size, -7) << "without a status, it is left alone";
}

TEST(Strings, ComparedWithoutCase) {
  EXPECT_EQ(strnicmp("QVX_CONFIG", "qvx_config", 20), 0);
  EXPECT_EQ(strnicmp("qvx", "QVX_config", 3), 0);
  EXPECT_EQ(strnicmp("qvx", "QVX_config", 4), -7);
  EXPECT_EQ(strnicmp("qvx_config", "qvx", 11), 7);
  EXPECT_EQ(strnicmp("a", "b", -1), 0);
  EXPECT_EQ(strnicmp("\xE4X", "az", 1), 0xE4 - 'a');
}

TEST(Strings, CaseIsThatOfAscii) {
  char text[] = "aB1\xE4";
  EXPECT_STREQ(strupr(text), "AB1\xE4");
  EXPECT_STREQ(strlwr(text), "ab1\xE4");
}

TEST(Strings, NullEqualsNothing) {
  const char* const pairs[][2] = {{nullptr, "a"}, {"a", nullptr}, {nullptr, nullptr}};
  for (const auto& [a, b] : pairs) {
    EXPECT_EQ(stricmp(a, b), 1);
    EXPECT_EQ(strnicmp(a, b, 0), 1);
  }
  char line[] = "a b";
  char* found[8] = {};
  EXPECT_EQ(strlwr(nullptr), nullptr);
  EXPECT_EQ(strupr(nullptr), nullptr);
  EXPECT_EQ(TmkRaloSkipWhiteSpace(nullptr), nullptr);
  EXPECT_EQ(strcarg(nullptr, found, ","), 0);
  EXPECT_EQ(strcarg(line, found, nullptr), 1);
  EXPECT_STREQ(found[0], "a b");
}

TEST(Host, NullGetsAFailure) {
  EXPECT_EQ(OSGetHostName(nullptr, 64), -1);
  OSGetSystemName(nullptr, 64);
  EXPECT_EQ(OSGetHostByAddr(nullptr, 4, AF_INET), nullptr);
  EXPECT_EQ(OSGetLocalNodeIpAddress(nullptr), 0xFFFFFFFF);
  EXPECT_EQ(OSLocalTime(nullptr), nullptr);
  EXPECT_EQ(OSGetQVXDirectory(nullptr, kPathCapacity), nullptr);
  EXPECT_EQ(OSGetCurrentDirectory(nullptr, kPathCapacity), nullptr);
  EXPECT_EQ(OSFileAffinity(nullptr), nullptr);
  EXPECT_EQ(OSFindNextFile(0, nullptr), -1);
}

using Arguments = std::vector<std::string>;

Arguments Split(std::string line, const char* delimiters, int maximum, int trim) {
  char* found[8] = {};
  const int count = strcnargcn(line.data(), found, delimiters, maximum, ';', trim);
  EXPECT_NE(found[0], nullptr) << "set without an argument, too";
  return {found, found + count};
}

TEST(Strings, LineIsSplitIntoArguments) {
  EXPECT_EQ(Split(" \ta ,x\"b, ;\"y;c, d \x1A e\n", ", ", 0, 1),
            (Arguments{"a", "", "x\"b, ;\"y;c, d "}));
  EXPECT_EQ(Split(" a,,b,c \n", ",", 0, 0), (Arguments{" a", "", "b", "c \n"}));
  EXPECT_EQ(Split(" a,,b,c \n", ",", 3, 0), (Arguments{" a", "", "b,c \n"}));
  EXPECT_EQ(Split("", ",", 0, 0), Arguments());
  EXPECT_EQ(Split(" \t\n", ",", 0, 1), Arguments());
}

TEST(Host, NamesSignalsAndConsole) {
  const TempDirectory root;
  PassIsolated(CLONE_NEWUTS, [&root] {
    char cut[4];
    EXPECT_EQ(sethostname("console-host", 12), 0);
    EXPECT_EQ(chroot(root.path().c_str()), 0);
    OSGetSystemName(cut, sizeof cut);
    OSOutputConsole(cut);
    OSOutputConsole("sole\n");
    EXPECT_EQ(OSInitializeSocket(), 0);
    EXPECT_EQ(raise(SIGPIPE), 0);
  });
  EXPECT_EQ(Contents(root.path() / "console.bug"), "console\n");
  EXPECT_STREQ(OSInt_to_Address(0x7F000102), "127.0.1.2");
  EXPECT_EQ(OSntohl(OShtonl(0x7F000102)), 0x7F000102U);
  EXPECT_EQ(OSGetLocalNodeIpAddress("127.0.1.2"), OShtonl(0x7F000102));
}

TEST(Host, AnswersOfThePlatform) {
  const TempDirectory directory_is_put_back;
  char path[kPathCapacity];
  EXPECT_STREQ(OSGetBaseDir(path, sizeof path), "/opt");
  EXPECT_STREQ(OSGetDefaultWBEMDirectoryEx(nullptr, path, sizeof path), "/var/spool/tormek/wbem");
  EXPECT_EQ(OSSetCurrentDirectory("/usr"), 0);
  EXPECT_STREQ(OSGetCurrentDirectory(path, sizeof path), "/usr");
  char mixed[] = "a\\b/c";
  EXPECT_STREQ(OSFileAffinity(mixed), "a/b/c");
  EXPECT_EQ(OSGetDriveType("/"), 3);
  EXPECT_EQ(OSSetFileTime("/none", nullptr), -1);
  const time_t now = time(nullptr);
  EXPECT_EQ(mktime(OSLocalTime(&now)), now);
  EXPECT_EQ(OSGetHostByAddr(mixed, 3, AF_INET), nullptr) << "no address is that short";
  OSGetSystemName(mixed, 2);
  EXPECT_EQ(std::string(mixed).size(), 1U);
  EXPECT_GE(Callpopen(), 0) << "whether the command is installed or not";
  EXPECT_STREQ(OSFindFirstVolume(nullptr, nullptr, nullptr), OSFindNextVolume(nullptr));
  EXPECT_EQ(OSUnsigned(-1), 0xFFFFFFFFU);
  EXPECT_EQ(OSUnsignedShort(-1), 0xFFFFU);
  EXPECT_EQ(OShtons(0x0102), htons(0x0102));
  const int results[] = {OSFileCaseSensitivity(),
                         OSCheckOSVersion(),
                         OSConsoleSupported(),
                         OSOpenConsole(nullptr, nullptr, nullptr, nullptr),
                         static_cast<int>(OSGetHostId()),
                         OSCheckTomcat()};
  EXPECT_EQ(std::vector<int>(std::begin(results), std::end(results)),
            (std::vector<int>{1, 1, 1, 0, 0, 0}));
}

TEST(Host, LanguageOfTheEnvironment) {
  for (const std::string value : {"JP_x", "jp", "j", "en_jp"}) {
    const Variable language("LANG", value);
    EXPECT_STREQ(OSGetDefaultLanguage(), value == "JP_x" || value == "jp" ? "jpn" : "ENG") << value;
  }
  const Variable unset("LANG", std::nullopt);
  EXPECT_STREQ(OSGetDefaultLanguage(), "ENG");
}

}  // namespace
}  // namespace qvx::test
