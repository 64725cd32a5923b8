#include "webconf/servlet_container.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <new>
#include <optional>

#include "log/ring_log.h"
#include "os/account_child.h"
#include "os/commands.h"
#include "os/creation_mask.h"
#include "os/directories.h"
#include "os/file_replacement.h"
#include "os/files.h"
#include "os/service_account.h"
#include "webconf/server_conf.h"

const char proxy_conf[] = R"conf(
SSLProxyEngine On
SSLProxyCipherSuite ALL
SSLProxyMachineCertificateFile /opt/zx/sslshare/proxy.pem
Include conf/mod_proxy.conf
)conf";

namespace qvx {
namespace {

constexpr char kRulesFile[] = "/conf/mod_proxy.conf";  // under the installation directory
constexpr mode_t kRulesFileMode = 0644;
constexpr mode_t kWritableByOthers =
    0022;  // only root may write a file that the web server includes as root

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

/// The most that is read of the tool's output. With the fixed text around it, a message has at most
/// 2048 bytes.
constexpr uint32_t kToolOutputCapacity = 1024;
constexpr size_t kMessageCapacity = 2048;

/// Removes a pipe, socket or device with the name of the rules file. The tool would wait for ever
/// for a reader of the pipe, and the others would swallow its rules. Returns false when one stays.
bool RemoveOtherKind() {
  const auto place = FindPlace(InstallationPath(kRulesFile), Access::kChange, LastLink::kStay);
  const bool is_other = place && place->exists() && !place->IsA(S_IFREG) && !place->IsA(S_IFLNK) &&
                        !place->IsA(S_IFDIR);
  return !is_other || unlinkat(place->directory.get(), place->name.c_str(), 0) == 0;
}

/// Replaces a file or link with this name by an empty file. On a full disk an old file is emptied
/// in place, so no refused rules stay in force.
void EmptyRulesFile() {
  const std::string path = InstallationPath(kRulesFile);
  if (!FileReplacement(path, OwnFile(kRulesFileMode), LastLink::kStay).Commit()) {
    OpenDescriptor(path, O_WRONLY | O_TRUNC);
  }
}

void LogToolOutput(const char* output) {
  char message[kMessageCapacity];
  std::snprintf(message, sizeof message,
                "\"genproxyconf\" execution failed: %s;\n"
                "unable to determine if tomcat needs to be enabled, disabling tomcat.",
                output);
  LogOutput(kLogCritical, "%s", message);
}

/// Returns whether the tool wrote rules; nothing, with a record, when that cannot be told.
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
  if (const auto rules = FindPlace(InstallationPath(kRulesFile), Access::kRead);
      rules && rules->exists()) {
    return rules->entry_status.st_size > 0;
  }
  LogOutput(kLogCritical, "%s", kRulesNotFound);
  return std::nullopt;
}

/// The child becomes the shell, or logs why not.
int RunStartScript(const std::string& command) {
  const std::optional<AccountIds> account = LookUpServiceAccount().ids;
  if (!account) {
    LogOutput(kLogCritical, "%s", kNoServiceUser);
    return 0;
  }
  ExecuteDetached(command, account, Groups::kAll, Variables::kAll);
  LogOutput(kLogCritical, "%s", kScriptNotRun);
  return 0;
}

bool IsContainerRequired() {
  const CreationMask mask(kWritableByOthers);  // a tool may make the file anew
  if (!RemoveOtherKind()) {
    LogOutput(kLogCritical, "%s", kRulesNotFound);
    return false;
  }
  EmptyRulesFile();
  const std::optional<bool> wrote_rules = ToolWroteRules();
  if (!wrote_rules) {
    EmptyRulesFile();
  }
  return wrote_rules.value_or(false);
}

/// Adds the blocks. Mode and owner of the configuration stay.
bool AddProxyBlocks() {
  const std::string path = ServerConfPath();
  const Descriptor file = OpenDescriptor(path, O_RDONLY);
  struct stat status = {};
  const std::optional<std::string> configuration =
      file && fstat(file.get(), &status) == 0 ? ReadRest(file) : std::nullopt;
  return configuration &&
         ReplaceFile(path, {status.st_uid, status.st_gid, status.st_mode & ACCESSPERMS},
                     WithProxyBlocks(*configuration));
}

int32_t StartContainer() {
  if (check_tomcat_required() == 0) {
    return 0;
  }
  if (config_webapp_proxying() == 0) {
    LogOutput(kLogCritical, "%s", kBlockNotAdded);
    return 0;
  }
  const std::string command = InstallationPath("/tomcat/bin/startup.sh") + " > /dev/null 2>&1";
  const pid_t child = StartChild([&command] { return RunStartScript(command); });
  if (child == -1) {
    // A failure of this write has nowhere to be reported.
    [[maybe_unused]] const ssize_t written =
        write(STDERR_FILENO, kForkFailed, sizeof kForkFailed - 1);
    return -1;
  }
  return WaitForChild(child, WUNTRACED);
}

}  // namespace

std::string WithProxyBlocks(std::string_view configuration) {
  std::string text;
  for (size_t start = 0, end = 0; (end = configuration.find('\n', start)) != std::string_view::npos;
       start = end + 1) {
    const std::string_view line = configuration.substr(start, end - start);
    text.append(line).append("\n");
    if (line.find("<VirtualHost") != std::string_view::npos &&
        line.find("2381>") != std::string_view::npos) {
      text.append(proxy_conf);
    }
  }
  return text;
}

}  // namespace qvx

int32_t load_tomcat() {
  try {
    return qvx::StartContainer();
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

int32_t check_tomcat_required() {
  try {
    return qvx::IsContainerRequired() ? 1 : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

int32_t config_webapp_proxying() {
  try {
    return qvx::AddProxyBlocks() ? 1 : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}
