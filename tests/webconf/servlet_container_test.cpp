#include "webconf/servlet_container.h"

#include <grp.h>
#include <linux/capability.h>
#include <sys/syscall.h>

#include <vector>

#include "log/ring_log.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

constexpr char kConfiguration[] = "/opt/moved/conf/qvxpd.conf";
constexpr char kRules[] = "/opt/moved/conf/mod_proxy.conf";
const std::string kBlock =
    "\nSSLProxyEngine On\nSSLProxyCipherSuite ALL\nSSLProxyMachineCertificateFile "
    "/opt/zx/sslshare/proxy.pem\n"
    "Include conf/mod_proxy.conf\n";
const std::string kHead = "# listen *:2381\n<VirtualHost *:2301>\n\n<VirtualHost a:2381>\n";
const std::string kTail =
    "ServerName a:2381\n" + std::string(70000, 'x') + '\0' + "<VirtualHost b:2381>\n";

// The bytes in front of the log's first message.
constexpr size_t kLogHead =
    sizeof "00000009\n\n\nCRITICAL ERROR LOG (severity=3)  Mon Jan 01 00:00:00 2001\n" - 1;

// Ends with 3 as the service account and nothing else, with 0 otherwise.
constexpr char kStartScript[] = R"(#!/bin/bash
u=$(id -u zxqvx) g=$(id -g zxqvx) now=$(grep -E '^(Uid|Gid|Groups):' /proc/self/status | tr -s '\t\n ' ' ')
[ "$now" = "Uid: $u $u $u $u Gid: $g $g $g $g Groups: $g " ] && exit 3
)";

// A moved installation.
void MakeInstallation(const std::string& tool) {
  ASSERT_EQ(mount("none", "/opt", "tmpfs", 0, "mode=755"), 0);
  WriteText(kConfiguration, kHead + kTail + "<VirtualHost c:2381>");
  WriteText("/opt/moved/logs/qvx.log", "00000009\n");
  WriteText("/opt/moved/sbin/genproxyconf", "#!/bin/bash\n" + tool);
  WriteText("/opt/moved/tomcat/bin/startup.sh", kStartScript);
  WriteText("/opt/passwd", "root:x:0:0:root:/root:/bin/sh\n");
  ASSERT_EQ(std::system("chmod -R 777 /opt"), 0);
  SetupLogsAndDebug(nullptr);
}

constexpr char kWrites[] = "echo Proxy > /opt/moved/conf/mod_proxy.conf; echo noise >&2";
constexpr int32_t kStarted = 3 << 8;

struct Row {
  const char* name;
  const char* tool = kWrites;
  std::string prepare = ":";  // a command in the installation
  void (*become)() = [] {};   // what it does to the launcher itself
  int32_t result = 0;
  std::string message = {};
  std::string rules = "Proxy\n";  // of the rules file afterwards
};

void LoadContainer(const Row& row) {
  MakeInstallation(row.tool);
  EXPECT_EQ(std::system(("cd /opt/moved; " + row.prepare).c_str()), 0);
  row.become();
  EXPECT_NE(std::freopen("/opt/errors", "w", stderr), nullptr);
  EXPECT_EQ(load_tomcat(), row.result);
  EXPECT_EQ(Contents("/opt/errors") == "fork() in load_tomcat() failed! \n", row.result == -1);
  const std::string log = Contents(QvxLogFile).value_or("");
  EXPECT_EQ(log.substr(std::min(log.size(), kLogHead)), row.message) << log;
  EXPECT_EQ(Contents(kRules).value_or("none"), row.rules);
  if (std::filesystem::exists(kConfiguration)) {
    EXPECT_EQ(Contents(kConfiguration), row.rules.empty() ? kHead + kTail + "<VirtualHost c:2381>"
                                                          : kHead + kBlock + kTail + kBlock);
    EXPECT_EQ(ModeOf(kConfiguration), 0777U);
  }
}

TEST(ServletContainer, RunsWhenTheToolWroteRules) {
  const std::string undecided =
      "unable to determine if tomcat needs to be enabled, disabling tomcat.";
  const std::string printed = "\"genproxyconf\" execution failed: 100%s\n;\n" + undecided;
  const std::string unknown = "Unknown error while running \"genproxyconf\" tool, " + undecided;
  const char* not_run =
      "Unable to run \"genproxyconf\" tool in order to determine if tomcat needs to be enabled, "
      "disabling tomcat.";
  const char* not_added = "Unable to add configuration to qvxpd.conf, disabling tomcat.";
  const char* no_user = "Unable to find user \"zxqvx\". Check your QVX instalation.";
  const char* not_started =
      "Unable to run \"startup.sh\" script in order to load tomcat; the webapps relying on it "
      "won't be accessible.";
  const std::string device = "mknod -m 666 conf/mod_proxy.conf c 1 3";
  const std::string mounted = ": >conf/mod_proxy.conf; mount --bind /dev/null conf/mod_proxy.conf";
  const auto have_groups = [] { setgroups(2, std::vector<gid_t>{0, 4}.data()); };
  const auto lose_rights = [] {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[2] = {};
    EXPECT_EQ(syscall(SYS_capget, &header, sets), 0);
    sets[0].effective &= ~(1U << CAP_SETGID | 1U << CAP_SETUID);
    EXPECT_EQ(syscall(SYS_capset, &header, sets), 0);
  };
  // The first child is the init of the new namespace; when it has ended, no other child can be
  // made.
  const auto have_one_child = [] { EXPECT_EQ(unshare(CLONE_NEWPID), 0); };
  const auto have_no_child = [] {
    EXPECT_EQ(unshare(CLONE_NEWPID), 0);
    EXPECT_EQ(RunIsolated(0, [] { return 0; }), 0);
  };
  const Row rows[] = {
      {.name = "rules", .become = have_groups, .result = kStarted},
      {.name = "pipe", .prepare = "mkfifo -m 666 conf/mod_proxy.conf", .result = kStarted},
      {.name = "device", .prepare = device, .result = kStarted},
      {.name = "device that stays", .prepare = mounted, .message = unknown, .rules = ""},
      {.name = "no rules", .tool = "exit 1", .rules = ""},
      {.name = "no tool", .prepare = "rm -r sbin", .rules = ""},
      {.name = "text",
       .tool = "echo 100%s; echo x > /opt/moved/conf/mod_proxy.conf",
       .message = printed,
       .rules = ""},
      {.name = "tool not run", .become = have_no_child, .message = not_run, .rules = ""},
      {.name = "rules gone", .tool = "rm /opt/moved/conf/mod*", .message = unknown, .rules = ""},
      {.name = "no folder",
       .tool = "exit 0",
       .prepare = "rm -r conf",
       .message = unknown,
       .rules = "none"},
      {.name = "no configuration", .prepare = "rm conf/qvxpd.conf", .message = not_added},
      {.name = "no child", .become = have_one_child, .result = -1},
      {.name = "no user", .prepare = "mount -B /opt/passwd /etc/passwd", .message = no_user},
      {.name = "identity refused", .become = lose_rights, .message = not_started},
  };
  const Variable base("SYSMGTZX_BASE_DIR", "/opt/moved");
  ServiceOwner();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    PassIsolated(CLONE_NEWNS, [&row] { LoadContainer(row); });
  }
}

}  // namespace
}  // namespace qvx::test
