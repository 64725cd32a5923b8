// Files and directories: what can be written, who else can write, and free space.
#include <sys/stat.h>
#include <sys/statvfs.h>

#include "companion/findings.h"
#include "companion/installation.h"
#include "launcher/launcher.h"
#include "os/directories.h"
#include "os/service_account.h"
#include "settings/document.h"
#include "tls/pem_files.h"
#include "webconf/servlet_container.h"

namespace qvx::companion {

namespace {

constexpr uint64_t kLittleSpace = 1 << 20;  // the generated files and the log together

void CheckWriting(const Forecast& forecast, Findings& findings) {
  if (!forecast.pair.is_usable() || forecast.document_fate == DocumentFate::kUnusable) {
    return;  // the start ends earlier
  }
  for (const ForeseenFile* file : {&forecast.server_conf, &forecast.php_ini, &forecast.agent_map}) {
    const bool ends = file == &forecast.server_conf;
    if (!file->is_written && (ends || forecast.server_conf.is_written)) {
      findings.push_back(
          {.severity = Severity::kFailure,
           .code = "file-not-written",
           .file = file->path,
           .what = "A start cannot write the file. " + WhyRefused(file->refusal),
           .effect = ends ? "It prints \"Invalid configuration file ...\" and ends with status 1."
                          : "It leaves what is there and goes on.",
           .cure = "Make the directory, or remove what is in the way.",
           .keeps_down = ends});
    }
  }
}

/// In a directory of the account's, root's files can be exchanged.
void CheckDirectories(Findings& findings) {
  for (const std::string& path :
       {InstallationPath(), InstallationPath("/bin"), InstallationPath("/conf"),
        InstallationPath("/logs"), InstallationPath("/modules"), InstallationPath("/sbin"),
        WritablePath("/webapp"), TlsSharePath(), LogPath()}) {
    if (AccountMayWrite(path)) {
      findings.push_back(
          {.severity = Severity::kWarning,
           .code = "directory-of-account",
           .file = path,
           .what = "The service account can write into the directory.",
           .effect = "It writes files of the account alone there, and follows no link of others.",
           .cure = "chown root:root " + Quoted(path) + "; chmod 755 " + Quoted(path)});
    }
  }
}

/// The daemon's process ID goes there.
void CheckPidDirectory(Findings& findings) {
  const std::string path = InstallationPath("/logs");
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    findings.push_back({.severity = Severity::kFailure,
                        .code = "pid-directory-missing",
                        .file = path,
                        .what = "The directory is missing.",
                        .effect = "The daemon cannot write its process ID and does not start.",
                        .cure = "install -d -m 0755 " + Quoted(path),
                        .keeps_down = true});
  }
}

/// The daemon takes a living process of that number for itself.
void CheckPid(Findings& findings) {
  const std::string path = InstallationPath("/logs/httpd.pid");
  const NamedProcess process = ProcessOfPidFile();
  if (process.number != 0 && process.name != kDaemonProcess) {
    findings.push_back(
        {.severity = Severity::kFailure,
         .code = "pid-of-another",
         .file = path,
         .what = "The file names another process than the daemon: " + process.name + ".",
         .effect = "The daemon says that it runs already, and does not start. The "
                   "service removes such a file first.",
         .cure = "rm " + Quoted(path),
         .keeps_down = true});
  }
}

void CheckModes(const Forecast& forecast, Findings& findings) {
  for (const std::string& path : {SettingsPath(), forecast.server_conf.path, forecast.php_ini.path,
                                  forecast.agent_map.path}) {
    const std::optional<Ownership> file = OwnershipOf(path);
    if (file && (file->mode & S_IWOTH) != 0) {
      findings.push_back(
          {.severity = Severity::kWarning,
           .code = "file-writable-by-all",
           .file = path,
           .what = "Everybody on the machine can change the file.",
           .effect = path == SettingsPath()
                         ? "It takes the settings as they stand, and sets the mode 660."
                         : "It makes the file anew with the mode 660.",
           .cure = ProtectionOf(path)});
    }
  }
}

void CheckSpace(Findings& findings) {
  for (const std::string& path : {InstallationPath("/conf"), InstallationPath("/logs"),
                                  TlsSharePath(), LogPath(), LogPath("/logs")}) {
    struct statvfs space = {};
    if (statvfs(path.c_str(), &space) == 0 && space.f_bavail * space.f_frsize < kLittleSpace) {
      findings.push_back(
          {.severity = Severity::kFailure,
           .code = "little-space",
           .file = path,
           .what = "The file system has less than 1 MiB left.",
           .effect = "Files that cannot be written whole stay as they are, and the start may end.",
           .cure = "Make room."});
    }
  }
}

/// What stands there may count as rules.
void CheckRules(const Forecast& forecast, Findings& findings) {
  if (forecast.rules.refusal != 0 && forecast.server_conf.is_written) {
    findings.push_back(
        {.severity = Severity::kFailure,
         .code = "rules-not-emptied",
         .file = forecast.rules.path,
         .what = "A start cannot empty the file. " + WhyRefused(forecast.rules.refusal),
         .effect = "It may take what is there for rules of the servlet container, "
                   "which the daemon may refuse.",
         .cure = "Remove what is in the way."});
  }
}

/// A reconfigure run leaves out the forwarding to the servlet container.
void CheckProxyBlocks(const Forecast& forecast, Findings& findings) {
  const std::string rules = ReadText(InstallationPath("/conf/mod_proxy.conf")).value_or("");
  const std::optional<std::string> conf = ReadText(forecast.server_conf.path);
  if (!rules.empty() && conf && conf->find(proxy_conf) == std::string::npos) {
    findings.push_back(
        {.severity = Severity::kWarning,
         .code = "proxy-block-missing",
         .file = forecast.server_conf.path,
         .what = "There are forwarding rules for the servlet container, but no proxy block: "
                 "a reconfigure run has taken it away.",
         .effect = "It adds the block again. Until then the container's applications cannot "
                   "be reached.",
         .cure = "Stop and start the console."});
  }
}

void CheckAccount(Findings& findings) {
  if (!LookUpServiceAccount().ids) {
    findings.push_back(
        {.severity = Severity::kFailure,
         .code = "account-missing",
         .file = "/etc/passwd",
         .what = "There is no account zxqvx.",
         .effect = "Its files belong to root, and the daemon refuses its configuration.",
         .cure = "useradd --system --user-group --no-create-home --shell /usr/sbin/nologin "
                 "zxqvx",
         .keeps_down = true});
  }
}

}  // namespace

void CheckFiles(const Forecast& forecast, Findings& findings) {
  CheckAccount(findings);
  CheckWriting(forecast, findings);
  CheckDirectories(findings);
  CheckPidDirectory(findings);
  CheckPid(findings);
  CheckModes(forecast, findings);
  CheckSpace(findings);
  CheckRules(forecast, findings);
  CheckProxyBlocks(forecast, findings);
}

}  // namespace qvx::companion
