#include "launcher/launcher.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int status;
  std::string output;
};

/// A shell command inherits nothing but the environment and the standard streams. The shell is not
/// the one that the launcher uses.
Outcome RunAlone(const std::string& command) {
  const TempDirectory scratch;
  const fs::path output = scratch.path() / "output";
  const std::string line =
      "umask 027; exec env --default-signal " + command + " >" + output.string();
  const int status = RunIsolated(0, [&line] {
    close_range(STDERR_FILENO + 1, ~0U, 0);
    return execl("/bin/bash", "bash", "-c", line.c_str(), nullptr);
  });
  return {status, Contents(output).value_or("none")};
}

std::string Launcher(size_t argument_count) {
  constexpr std::string_view kArguments = " any any any";
  return "\"" QVX_LAUNCHER "\"" + std::string(kArguments.substr(0, 4 * (argument_count - 1)));
}

/// What a parent called like the daemon prints about a launcher that it has started.
std::string UnderDaemon(const std::string& role, size_t argument_count,
                        const std::string& daemon = QVX_DAEMON) {
  return RunAlone("\"" + daemon + "\" " + role + " " + Launcher(argument_count)).output;
}

/// An installation whose daemon tells how it was started.
class Site {
 public:
  explicit Site(mode_t daemon_mode = 0755) : owner_(ServiceOwner()) {
    const fs::path daemon = base() / "sbin/zxqvxd";
    fs::create_symlink(QVX_DAEMON, other_daemon());
    WriteText(daemon,
              "#!/bin/sh\n"
              "printf '%s\\n' \"$0\" \"$@\" \"${LD_ASSUME_KERNEL-unset}\" \"$(pwd)\" \"$(umask)\" "
              "\"$KEPT\"\n"
              "ls /proc/$$/fd\n"
              "awk '/SigIgn/ { print $2 }' /proc/$$/status\n");
    chmod(daemon.c_str(), daemon_mode);
  }

  fs::path base() const { return installation_.base(); }
  std::string other_daemon() const { return base() / "zxqvxd2"; }

  /// The files of a start that are there and belong to the service account.
  std::string Generated() const {
    std::string found;
    for (const char* name :
         {"conf/qvxpd.xml", "conf/qvxpd.conf", "conf/ralolist.map", "bin/php.ini", "logs/qvx.log",
          "session/php", "../tls/cert.pem", "../tls/file.pem"}) {
      if (OwnerOf(base() / name) == owner_) {
        found.append(name).append(" ");
      }
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
constexpr char kNoPair[] = "logs/qvx.log session/php ";
constexpr char kOnlyPair[] = "../tls/cert.pem ../tls/file.pem ";

TEST(Launcher, StartBecomesTheDaemon) {
  const Site site;
  const Variable removed("LD_ASSUME_KERNEL", "2.4.1");
  const Variable kept("KEPT", "kept");
  const Outcome outcome = RunAlone(Launcher(1));
  const std::string base = site.base();
  // Descriptor 10 is the shell's own, for the script; the one ignored signal is SIGPIPE.
  EXPECT_EQ(outcome.output, base + "/sbin/zxqvxd\n-DSSL\n-f\n" + base +
                                "/conf/qvxpd.conf\nunset\n" + base + "/conf" +
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
      {"start without certificate", 1, "SSL_SHARE_BASE_DIR", 0, kNoTls, kNoPair},
      {"reconfigure without certificate", 2, "SSL_SHARE_BASE_DIR", 0, kNoTls, kNoPair},
      {"start without settings", 1, "SYSMGTZX_BASE_DIR", 1, kNoSettings, kOnlyPair},
      {"reconfigure without settings", 2, "SYSMGTZX_BASE_DIR", 1, kNoSettings, kOnlyPair},
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
  // The system gives every program at least one argument, so this count is reached from inside
  // only.
  const Site site;
  EXPECT_EQ(RunIsolated(0, [] { return RunLauncher(0); }), 0);
  EXPECT_EQ(site.Generated(), kAll);
}

TEST(Launcher, PairIsDeletedForExactlyOne) {
  const Site site;
  const struct {
    const char* value;
    size_t argument_count;
    bool deleted;
  } rows[] = {{"1", 3, true},   {"1", 4, true},    {"1 ", 4, false},
              {"01", 4, false}, {"yes", 4, false}, {"", 4, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value);
    const Variable regenerate("QVX_CERT_REGEN", row.value);
    for (const char* name : {"../tls/cert.pem", "../tls/file.pem", "../tls/other.pem"}) {
      WriteText(site.base() / name, "");
    }
    EXPECT_EQ(RunAlone(Launcher(row.argument_count)).status, 1);
    EXPECT_NE(fs::exists(site.base() / "../tls/cert.pem"), row.deleted);
    EXPECT_NE(fs::exists(site.base() / "../tls/file.pem"), row.deleted);
    EXPECT_TRUE(fs::exists(site.base() / "../tls/other.pem"));
  }
}

TEST(Launcher, SignalsTheSessionOfADaemonOnly) {
  const Site site;
  const struct {
    const char* name;
    const char* role;
    size_t argument_count;
    std::string daemon;
    const char* outcome;
  } rows[] = {
      // The launcher is in the group that it signals.
      {"reconfigure, by the leader", "leader", 2, QVX_DAEMON, "status 0, signals 1\n"},
      {"reconfigure, by a worker", "worker", 2, QVX_DAEMON, "status 0, signals 1\n"},
      {"of another name", "leader", 2, site.other_daemon(), "status 0, signals 0\n"},
      {"reconfigure, from another session", "leader setsid", 2, QVX_DAEMON,
       "status 0, signals 0\n"},
      {"permissions", "leader", 3, QVX_DAEMON, "status 0, signals 0\n"},
      {"too many arguments", "leader", 4, QVX_DAEMON, "status 1, signals 0\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(UnderDaemon(row.role, row.argument_count, row.daemon), row.outcome);
  }
  EXPECT_EQ(site.Generated(), kAll);
}

TEST(Launcher, PermissionsFromTheEnvironment) {
  const Site site;
  const fs::path file = site.base() / "file";
  const std::string daemon = QVX_DAEMON;
  const std::string done = "status 0, signals 0\n";
  const struct {
    std::optional<std::string> value;
    std::string parent;
    std::string outcome;
    mode_t mode;
  } rows[] = {
      {"744", daemon, done, 0744},  {"755", daemon, done, 0755},
      {"766", daemon, done, 0766},  {"0755", daemon, done, 0600},
      {"755 ", daemon, done, 0600}, {"777", daemon, done, 0600},
      {{}, daemon, done, 0600},     {"744", site.other_daemon(), "status 1, signals 0\n", 0600},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value.value_or("unset") + " by " + row.parent);
    const Variable permissions("QVXPERMS", row.value);
    const Variable path("QVXFPATH", file);
    WriteText(file, "");
    chmod(file.c_str(), 0600);
    EXPECT_EQ(UnderDaemon("worker", 3, row.parent), row.outcome);
    EXPECT_EQ(ModeOf(file), row.mode);
  }
  const Variable permissions("QVXPERMS", "755");
  const fs::path pipe = site.base() / "pipe";
  EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  {
    const Variable path("QVXFPATH", pipe);
    EXPECT_EQ(UnderDaemon("worker", 3), done);
    EXPECT_EQ(ModeOf(pipe), 0755U);
  }
  const Variable no_path("QVXFPATH", std::nullopt);
  EXPECT_EQ(UnderDaemon("leader", 3), "status 0, signals 0\n");
}

TEST(Launcher, WithoutAShellNobodyIsTheDaemon) {
  const Site site;
  PassIsolated(CLONE_NEWNS, [] {
    EXPECT_EQ(mount("/dev/null", "/bin/sh", nullptr, MS_BIND, nullptr), 0);
    EXPECT_EQ(UnderDaemon("leader", 3), "status 1, signals 0\n");
    EXPECT_EQ(UnderDaemon("leader", 2), "status 0, signals 0\n");
  });
}

}  // namespace
}  // namespace qvx::test
