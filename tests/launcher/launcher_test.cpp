#include "launcher/launcher.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;
using Command = std::vector<std::string>;

struct Outcome {
  int status;
  std::string output;
};

// The launcher's executable with nothing inherited but the environment and the standard streams.
[[noreturn]] void Execute(const fs::path& output, const Command& command) {
  std::vector<char*> arguments;
  for (const std::string& word : command) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
  close_range(STDERR_FILENO + 1, ~0U, 0);
  for (int signal = 1; signal < SIGRTMIN; ++signal) {
    std::signal(signal, SIG_DFL);
  }
  umask(027);
  execv(arguments[0], arguments.data());
  _exit(255);
}

Outcome RunAlone(const Command& command) {
  const TempDirectory scratch;
  const fs::path output = scratch.path() / "output";
  const int status = RunIsolated(0, [&]() -> int { Execute(output, command); });
  return {status, Contents(output).value_or("none")};
}

Command Launcher(size_t argument_count) {
  Command command(argument_count, "any");
  command.front() = QVX_LAUNCHER;
  return command;
}

// What a parent called like the daemon prints about a launcher that it has started.
std::string UnderDaemon(const char* role, size_t argument_count, const std::string& daemon = QVX_DAEMON) {
  Command command = Launcher(argument_count);
  command.insert(command.begin(), {daemon, role});
  return RunAlone(command).output;
}

// An installation whose daemon tells how it was started.
class Site {
 public:
  explicit Site(mode_t daemon_mode = 0755) : owner_(ServiceOwner()) {
    const fs::path daemon = base() / "sbin/zxqvxd";
    WriteText(daemon,
              "#!/bin/sh\n"
              "printf '%s\\n' \"$0\" \"$@\" \"${LD_ASSUME_KERNEL-unset}\" \"$(pwd)\" \"$(umask)\" \"$KEPT\"\n"
              "ls /proc/$$/fd\n"
              "awk '/SigIgn/ { print $2 }' /proc/$$/status\n");
    chmod(daemon.c_str(), daemon_mode);
  }

  fs::path base() const { return installation_.base(); }

  /// The files of a start that are there and belong to the service account.
  std::string Generated() const {
    std::string found;
    for (const char* name : {"conf/qvxpd.xml", "conf/qvxpd.conf", "conf/ralolist.map", "bin/php.ini", "logs/qvx.log",
                             "session/php", "../tls/cert.pem", "../tls/file.pem"}) {
      found += OwnerOf(base() / name) == owner_ ? std::string(name) + " " : "";
    }
    return found;
  }

 private:
  const Installation installation_;
  const std::string owner_;
};

constexpr char kAll[] =
    "conf/qvxpd.xml conf/qvxpd.conf conf/ralolist.map bin/php.ini logs/qvx.log session/php "
    "../tls/cert.pem ../tls/file.pem ";

TEST(Launcher, StartBecomesTheDaemon) {
  const Site site;
  const Variable removed("LD_ASSUME_KERNEL", "2.4.1");
  const Variable kept("KEPT", "kept");
  const Outcome outcome = RunAlone(Launcher(1));
  const std::string base = site.base();
  // Descriptor 10 is the shell's own, for the script; the one ignored signal is SIGPIPE.
  EXPECT_EQ(outcome.output, base + "/sbin/zxqvxd\n-DSSL\n-f\n" + base + "/conf/qvxpd.conf\nunset\n" + base + "/conf" +
                                "\n0027\nkept\n0\n1\n10\n2\n0000000000001000\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(site.Generated(), kAll);
}

TEST(Launcher, EveryEndButTheDaemon) {
  constexpr char kNoTls[] = "Cannot start application!";
  constexpr char kNoSettings[] =
      "Invalid configuration file (/opt/zx/zxqvx/conf/qvxpd.xml). "
      "Ask your system administrator to run \"/opt/zx/zxqvx/qvxconfig/qvxconfig.sh\".";
  const struct {
    const char* name;
    size_t argument_count;
    const char* spoilt_variable;
    int status;
    const char* output;
    const char* generated;
  } rows[] = {
      {"daemon not executable", 1, "NONE", 127, "", kAll},
      {"reconfigure by somebody else", 2, "NONE", 0, "", kAll},
      {"permissions for somebody else", 3, "NONE", 1, "", ""},
      {"too many arguments", 4, "NONE", 1, "", ""},
      {"start without certificate", 1, "SSL_SHARE_BASE_DIR", 0, kNoTls, "logs/qvx.log session/php "},
      {"reconfigure without certificate", 2, "SSL_SHARE_BASE_DIR", 0, kNoTls, "logs/qvx.log session/php "},
      {"start without settings", 1, "SYSMGTZX_BASE_DIR", 1, kNoSettings, "../tls/cert.pem ../tls/file.pem "},
      {"reconfigure without settings", 2, "SYSMGTZX_BASE_DIR", 1, kNoSettings, "../tls/cert.pem ../tls/file.pem "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Site site(0644);
    const Variable spoilt(row.spoilt_variable, "/dev/null/none");
    const Outcome outcome = RunAlone(Launcher(row.argument_count));
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_EQ(outcome.output, row.output);
    EXPECT_EQ(site.Generated(), row.generated);
  }
  // The system gives every program at least one argument, so this count is reached from inside only.
  const Site site;
  EXPECT_EQ(RunIsolated(0, [] { return RunLauncher(0); }), 0);
  EXPECT_EQ(site.Generated(), kAll);
}

TEST(Launcher, PairIsDeletedForExactlyOne) {
  const Site site;
  for (const auto& [value, argument_count, deleted] : std::initializer_list<std::tuple<const char*, size_t, bool>>{
           {"1", 3, true}, {"1", 4, true}, {"1 ", 4, false}, {"01", 4, false}, {"yes", 4, false}, {"", 4, false}}) {
    SCOPED_TRACE(value);
    const Variable regenerate("QVX_CERT_REGEN", value);
    for (const char* name : {"../tls/cert.pem", "../tls/file.pem", "../tls/other.pem"}) {
      WriteText(site.base() / name, "");
    }
    EXPECT_EQ(RunAlone(Launcher(argument_count)).status, 1);
    EXPECT_NE(fs::exists(site.base() / "../tls/cert.pem"), deleted);
    EXPECT_NE(fs::exists(site.base() / "../tls/file.pem"), deleted);
    EXPECT_TRUE(fs::exists(site.base() / "../tls/other.pem"));
  }
}

TEST(Launcher, SignalsTheSessionOfADaemonOnly) {
  const Site site;
  const std::string other = site.base() / "zxqvxd2";
  fs::create_symlink(QVX_DAEMON, other);
  EXPECT_EQ(UnderDaemon("leader", 2), "status 0, signals 1\n");  // the launcher is in the group that it signals
  EXPECT_EQ(site.Generated(), kAll);
  EXPECT_EQ(UnderDaemon("worker", 2), "status 0, signals 1\n");
  EXPECT_EQ(UnderDaemon("leader", 2, other), "status 0, signals 0\n");
  EXPECT_EQ(UnderDaemon("leader", 3), "status 0, signals 0\n");
  EXPECT_EQ(UnderDaemon("leader", 4), "status 1, signals 0\n");
}

TEST(Launcher, PermissionsFromTheEnvironment) {
  const Site site;
  const fs::path file = site.base() / "file";
  const std::string other = site.base() / "zxqvxd2";
  fs::create_symlink(QVX_DAEMON, other);
  const struct {
    std::optional<std::string> permissions;
    std::string daemon;
    mode_t mode;
  } rows[] = {
      {"744", QVX_DAEMON, 0744},        {"755", QVX_DAEMON, 0755},  {"766", QVX_DAEMON, 0766},
      {"0755", QVX_DAEMON, 0600},       {"755 ", QVX_DAEMON, 0600}, {"777", QVX_DAEMON, 0600},
      {std::nullopt, QVX_DAEMON, 0600}, {"744", other, 0600},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.permissions.value_or("unset") + " by " + row.daemon);
    const Variable permissions("QVXPERMS", row.permissions);
    const Variable path("QVXFPATH", file);
    WriteText(file, "");
    chmod(file.c_str(), 0600);
    EXPECT_EQ(UnderDaemon("worker", 3, row.daemon),
              row.daemon == other ? "status 1, signals 0\n" : "status 0, signals 0\n");
    EXPECT_EQ(ModeOf(file), row.mode);
  }
  const Variable permissions("QVXPERMS", "755");
  const Variable no_path("QVXFPATH", std::nullopt);
  EXPECT_EQ(UnderDaemon("leader", 3), "status 0, signals 0\n");
}

TEST(Launcher, WithoutAShellNobodyIsTheDaemon) {
  const Site site;
  const int status = RunIsolated(CLONE_NEWNS, [] {
    mount("/dev/null", "/bin/sh", nullptr, MS_BIND, nullptr);
    EXPECT_EQ(UnderDaemon("leader", 3), "status 1, signals 0\n");
    EXPECT_EQ(UnderDaemon("leader", 2), "status 0, signals 0\n");
    return FailuresAsStatus();
  });
  EXPECT_EQ(status, 0);
}

#ifndef __SANITIZE_ADDRESS__  // the two cannot run together
TEST(Launcher, ValgrindFindsNothing) {
  const Site site(0644);
  for (const auto& [argument_count, status] : std::initializer_list<std::pair<size_t, int>>{{1, 127}, {2, 0}, {3, 1}}) {
    SCOPED_TRACE(argument_count);
    Command command = Launcher(argument_count);
    command.insert(command.begin(), {"/usr/bin/valgrind", "-q", "--leak-check=full", "--error-exitcode=99",
                                     "--child-silent-after-fork=yes"});
    EXPECT_EQ(RunAlone(command).status, status);
  }
}
#endif

}  // namespace
}  // namespace qvx::test
