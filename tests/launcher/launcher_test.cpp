#include "launcher/launcher.h"

#include <sys/stat.h>

#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;

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
  return {Contents(output).value_or("none"), status};
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
    WriteText(daemon, R"sh(#!/bin/sh
printf '%s\n' "$0" "$@" "${LD_ASSUME_KERNEL-unset}" "$(pwd)" "$(umask)" "$KEPT"
ls /proc/$$/fd
awk '/SigIgn/ { print $2 }' /proc/$$/status
)sh");
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
    size_t arguments;
    const char* spoilt = "NONE";  // a variable
    int status = 0;
    const char* output = "";
    const char* generated = "";
  } rows[] = {
      {.arguments = 1, .status = 127, .generated = kAll},  // the daemon cannot be executed
      {.arguments = 2, .generated = kAll},
      {.arguments = 3, .status = 1},
      {1, "SSL_SHARE_BASE_DIR", 0, kNoTls, kNoPair},
      {2, "SSL_SHARE_BASE_DIR", 0, kNoTls, kNoPair},
      {1, "SYSMGTZX_BASE_DIR", 1, kNoSettings, kOnlyPair},
      {2, "SYSMGTZX_BASE_DIR", 1, kNoSettings, kOnlyPair},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.arguments << " without " << row.spoilt);
    const Site site(0644);
    const Variable spoilt(row.spoilt, "/dev/null/none");
    const Outcome outcome = RunAlone(Launcher(row.arguments));
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_EQ(outcome.output, row.output);
    EXPECT_EQ(site.Generated(), row.generated);
  }
  {
    const Site site;
    const Outcome outcome = RunAlone("bash -c 'ulimit -f 1; exec " + Launcher(1) + "'");
    EXPECT_EQ(outcome.status, 0) << "it is a full disk, and no signal";
    EXPECT_EQ(outcome.output, kNoTls);
  }
  // The system gives every program at least one argument, so this count is reached from inside
  // only.
  const Site site;
  EXPECT_EQ(RunIsolated(0, [] { return RunLauncher(0); }), 0);
  EXPECT_EQ(site.Generated(), kAll);
}

TEST(Launcher, PairIsDeletedForExactlyOne) {
  const Site site;
  for (const std::string value : {"1", "1 ", "01", "yes", ""}) {
    SCOPED_TRACE(value);
    const Variable regenerate("QVX_CERT_REGEN", value);
    for (const char* name : {"../tls/cert.pem", "../tls/file.pem", "../tls/other.pem"}) {
      WriteText(site.base() / name, "");
    }
    EXPECT_EQ(RunAlone(Launcher(value == "1" ? 3 : 4)).status, 1);
    EXPECT_NE(fs::exists(site.base() / "../tls/cert.pem"), value == "1");
    EXPECT_NE(fs::exists(site.base() / "../tls/file.pem"), value == "1");
    EXPECT_TRUE(fs::exists(site.base() / "../tls/other.pem"));
  }
}

TEST(Launcher, SignalsTheSessionOfADaemonOnly) {
  const Site site;
  // The launcher is in the group that it signals.
  EXPECT_EQ(UnderDaemon("leader", 2), "status 0, signals 1\n");
  EXPECT_EQ(UnderDaemon("worker", 2), "status 0, signals 1\n");
  EXPECT_EQ(UnderDaemon("leader", 2, site.other_daemon()), "status 0, signals 0\n");
  EXPECT_EQ(UnderDaemon("leader setsid", 2), "status 0, signals 1\n");
  EXPECT_EQ(UnderDaemon("leader", 3), "status 0, signals 0\n");
  EXPECT_EQ(UnderDaemon("leader", 4), "status 1, signals 0\n");
  EXPECT_EQ(site.Generated(), kAll);
}

TEST(Launcher, PermissionsFromTheEnvironment) {
  const Site site;
  const fs::path file = site.base() / "file";
  const struct {
    std::optional<std::string> value;
    mode_t mode = 0600;
    std::string outcome = "status 0, signals 0\n";
    std::string parent = QVX_DAEMON;
  } rows[] = {
      {"744", 0744}, {"755", 0755},
      {"766", 0766}, {"0755"},
      {"755 "},      {"777"},
      {{}},          {"744", 0600, "status 1, signals 0\n", site.other_daemon()},
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
    EXPECT_EQ(UnderDaemon("worker", 3), "status 0, signals 0\n");
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
