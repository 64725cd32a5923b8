#include "webconf/servlet_container.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <optional>

#include "log/ring_log.h"
#include "os/commands.h"
#include "os/directories.h"
#include "os/files.h"

const char proxy_conf[] = R"conf(
SSLProxyEngine On
SSLProxyCipherSuite ALL
SSLProxyMachineCertificateFile /opt/zx/sslshare/proxy.pem
Include conf/mod_proxy.conf
)conf";

namespace qvx {
namespace {

// Fixed: the tool and the console's other software know these by their absolute paths, wherever the installation is.
constexpr char kRulesFile[] = "/opt/zx/zxqvx/conf/mod_proxy.conf";
constexpr char kServerConfiguration[] = "/opt/zx/zxqvx/conf/qvxpd.conf";

constexpr char kToolNotRun[] =
    R"(Unable to run "genproxyconf" tool in order to determine if tomcat needs to be enabled, disabling tomcat.)";
constexpr char kRulesNotFound[] =
    R"(Unknown error while running "genproxyconf" tool, unable to determine if tomcat needs to be enabled, )"
    "disabling tomcat.";
constexpr char kBlockNotAdded[] = "Unable to add configuration to qvxpd.conf, disabling tomcat.";
constexpr char kNoServiceUser[] = R"(Unable to find user "zxqvx". Check your QVX instalation.)";
constexpr char kScriptNotRun[] =
    R"(Unable to run "startup.sh" script in order to load tomcat; the webapps relying on it won't be accessible.)";
constexpr char kForkFailed[] = "fork() in load_tomcat() failed! \n";

// What the tool may print; with the fixed text around it, a message has 2048 bytes at most.
constexpr uint32_t kToolOutputCapacity = 1024;
constexpr size_t kMessageCapacity = 2048;

void EmptyRulesFile() {
  WriteWholeFile(kRulesFile, "w", "");
}

void LogToolOutput(const char* output) {
  char message[kMessageCapacity];
  std::snprintf(message, sizeof message,
                "\"genproxyconf\" execution failed: %s;\n"
                "unable to determine if tomcat needs to be enabled, disabling tomcat.",
                output);
  LogOutput(kLogCritical, "%s", message);
}

// Whether the tool wrote rules; nothing when that cannot be told, which is logged.
std::optional<bool> ToolWroteRules() {
  char output[kToolOutputCapacity] = {};
  const std::string command = InstallationPath("/sbin/genproxyconf") + " 2> /dev/null";
  if (process_linux_cmd(command.c_str(), output, sizeof output) == -1) {
    LogOutput(kLogCritical, "%s", kToolNotRun);
    return std::nullopt;
  }
  if (output[0] != '\0') {
    LogToolOutput(output);
    return std::nullopt;
  }
  struct stat status {};
  if (stat(kRulesFile, &status) == 0) {
    return status.st_size > 0;
  }
  LogOutput(kLogCritical, "%s", kRulesNotFound);
  return std::nullopt;
}

std::optional<std::string> ReadWhole(const char* path) {
  const File file = OpenFile(path, "r");
  if (!file) {
    return std::nullopt;
  }
  std::string content;
  char block[8192];
  while (const size_t size = std::fread(block, 1, sizeof block, file.get())) {
    content.append(block, size);
  }
  if (std::ferror(file.get()) != 0) {
    return std::nullopt;
  }
  return content;
}

// Real and saved IDs too: the shell would set effective IDs that differ from the real ones back, and so run the script
// as root. Groups come first, while the process may still change them. A launcher that was started as the account may
// not set supplementary groups, and needs not.
bool BecomeAccount(const passwd& account) {
  const bool is_account = getuid() == account.pw_uid && geteuid() == account.pw_uid;
  return (is_account || initgroups(account.pw_name, account.pw_gid) == 0) &&
         setresgid(account.pw_gid, account.pw_gid, account.pw_gid) == 0 &&
         setresuid(account.pw_uid, account.pw_uid, account.pw_uid) == 0;
}

// The child: it is replaced by the shell, or logs why not.
int RunStartScript(const std::string& command) {
  const passwd* account = getpwnam(kServiceAccount);
  if (account == nullptr) {
    LogOutput(kLogCritical, "%s", kNoServiceUser);
    return 0;
  }
  if (BecomeAccount(*account)) {
    ExecuteShell(command.c_str());
  }
  LogOutput(kLogCritical, "%s", kScriptNotRun);
  return 0;
}

}  // namespace

std::string WithProxyBlocks(std::string_view configuration) {
  std::string text;
  for (size_t start = 0, end = 0; (end = configuration.find('\n', start)) != std::string_view::npos; start = end + 1) {
    const std::string_view line = configuration.substr(start, end - start);
    text.append(line).append("\n");
    if (line.find("<VirtualHost") != std::string_view::npos && line.find("2381>") != std::string_view::npos) {
      text.append(proxy_conf);
    }
  }
  return text;
}

}  // namespace qvx

int32_t load_tomcat() {
  if (check_tomcat_required() == 0) {
    return 0;
  }
  if (config_webapp_proxying() == 0) {
    LogOutput(kLogCritical, "%s", qvx::kBlockNotAdded);
    return 0;
  }
  const std::string command = qvx::InstallationPath("/tomcat/bin/startup.sh") + " > /dev/null 2>&1";
  const pid_t child = qvx::StartChild([&command] { return qvx::RunStartScript(command); });
  if (child == -1) {
    // Nothing is left to do when the text cannot be written.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, qvx::kForkFailed, sizeof qvx::kForkFailed - 1);
    return -1;
  }
  return qvx::WaitForChild(child, WUNTRACED);
}

int32_t check_tomcat_required() {
  unlink(qvx::kRulesFile);
  qvx::EmptyRulesFile();
  const std::optional<bool> wrote_rules = qvx::ToolWroteRules();
  if (!wrote_rules) {
    qvx::EmptyRulesFile();
  }
  return wrote_rules.value_or(false) ? 1 : 0;
}

int32_t config_webapp_proxying() {
  const std::optional<std::string> configuration = qvx::ReadWhole(qvx::kServerConfiguration);
  if (!configuration) {
    return 0;
  }
  const std::string text = qvx::WithProxyBlocks(*configuration);
  return qvx::WriteWholeFile(qvx::kServerConfiguration, "w+", text) ? 1 : 0;
}
