// The program itself, traced.

#include <cstdio>
#include <cstdlib>
#include <regex>

#include "tests/companion/prepared_installation.h"

namespace qvx::test {
namespace {

/// What changes something, or opens a file for writing. The child that shows the addresses gets a
/// pipe, which is no file.
const std::regex kChanges(
    R"(O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|\b(creat|unlink(at)?|rename(at2?)?|link(at)?|symlink(at)?|)"
    R"(mkdir(at)?|rmdir|mknod(at)?|f?truncate|f?ch(mod|own)(at)?|lchown|utimensat|f?setxattr|)"
    R"(f?removexattr|mount|kill)\()");

/// Where a coverage build writes its counters. It makes no directories on the way to a bare name.
constexpr char kCounters[] = "counters";

/// `command` begins with a program.
std::string ChangesOf(const std::string& command) {
  const std::string trace = "/tmp/trace";
  const std::string traced =
      "strace -f -y -s 200 -o " + trace + " " + command + " >/dev/null 2>/tmp/errors </dev/null";
  EXPECT_LE(WEXITSTATUS(std::system(traced.c_str())), 2);
  EXPECT_EQ(Contents("/tmp/errors"), "");
  const std::string calls = Contents(trace).value_or("");
  EXPECT_NE(calls.find("execve("), std::string::npos);
  std::string changes;
  for (std::sregex_iterator call(calls.begin(), calls.end(), kChanges), end; call != end; ++call) {
    const size_t start = calls.rfind('\n', static_cast<size_t>(call->position())) + 1;
    const std::string line = calls.substr(start, calls.find('\n', start) + 1 - start);
    const bool is_meant = line.find("\"/dev/null\"") != std::string::npos ||
                          line.find(kCounters) != std::string::npos;
    changes += is_meant ? "" : line;
  }
  return changes;
}

TEST(ReadingOnly, NoCommandChangesAnything) {
  const Variable leaks("ASAN_OPTIONS", "detect_leaks=0");  // they cannot be looked for when traced
  const Variable counters("LLVM_PROFILE_FILE", kCounters);
  // A checkout below /tmp is out of sight on a fresh machine.
  const std::string launcher = Contents(QVX_LAUNCHER).value_or("");
  const std::string companion = Contents(QVX_COMPANION).value_or("");
  const std::string healthy = "<max-threads>30</max-threads>\n";
  const std::string to_be_logged_and_repaired = "<max-threads>99</max-threads>\n<";
  for (const std::string& elements : {healthy, to_be_logged_and_repaired}) {
    SCOPED_TRACE(elements);
    OnFreshMachine([&] {
      PutProgram("/tmp/qvxlauncher", launcher);
      PutProgram("/tmp/qvxctl", companion);
      const PreparedInstallation site(elements);
      WriteText(site.base() / "logs/qvx.log", "00000009\n");
      for (const char* arguments :
           {"show", "show --diff", "check --from 10.0.0.1", "check --daemon --json", "log"}) {
        SCOPED_TRACE(arguments);
        EXPECT_EQ(ChangesOf("/tmp/qvxctl " + std::string(arguments)), "");
      }
      EXPECT_EQ(Contents(site.base() / "logs/qvx.log"), "00000009\n");
      EXPECT_FALSE(std::filesystem::exists(site.base() / "conf/qvxpd.conf"));
      EXPECT_NE(ChangesOf("/tmp/qvxlauncher"), "");
    });
  }
}

}  // namespace
}  // namespace qvx::test
