// The daemon, the programs that a run calls, the ports, and the web applications' descriptors.
#include <dirent.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "companion/findings.h"
#include "companion/installation.h"
#include "companion/ports.h"
#include "companion/programs.h"
#include "launcher/launcher.h"
#include "os/directories.h"
#include "webconf/webapp_extensions.h"

namespace qvx::companion {

namespace {

constexpr uint16_t kPorts[] = {2301, 2381};

void CheckDaemon(Findings& findings) {
  const std::string path = InstallationPath(kDaemonName);
  if (!IsProgram(path)) {
    findings.push_back({.severity = Severity::kFailure,
                        .code = "daemon-not-executed",
                        .file = path,
                        .what = "The daemon is missing, or is not a program that can be executed.",
                        .effect = "It writes every file and ends with status 127.",
                        .cure = "Install the console's daemon.",
                        .keeps_down = true});
    return;
  }
  const std::optional<Ownership> owner = OwnershipOf(path);
  if (owner && (owner->user != 0 || (owner->mode & (S_IWGRP | S_IWOTH)) != 0)) {
    findings.push_back({.severity = Severity::kWarning,
                        .code = "daemon-of-others",
                        .file = path,
                        .what = "Others than root can change the daemon: it may be a wrong one.",
                        .effect = "Whatever stands there runs as root.",
                        .cure = "Install the console's daemon again; chown root:root " +
                                Quoted(path) + "; chmod 755 " + Quoted(path)});
  }
}

/// A launcher at another place is not looked at.
void CheckLauncher(Findings& findings) {
  const std::string path = InstallationPath("/sbin/qvxlauncher");
  if (!HasName(path)) {
    return;
  }
  if (!IsProgram(path)) {
    findings.push_back({.severity = Severity::kFailure,
                        .code = "launcher-not-executed",
                        .file = path,
                        .what = "The launcher is not a program that can be executed.",
                        .effect = "Nothing starts by it.",
                        .cure = "chgrp zxqvx " + Quoted(path) + "; chmod 750 " + Quoted(path)});
  } else if (getxattr(path.c_str(), "security.capability", nullptr, 0) <= 0) {
    findings.push_back({.severity = Severity::kWarning,
                        .code = "launcher-lacks-capability",
                        .file = path,
                        .what = "The launcher lacks its capability for signals.",
                        .effect =
                            "A start works. A reconfigure run of the daemon writes every file, but "
                            "cannot let the daemon read them.",
                        .cure = "setcap cap_kill+ep " + Quoted(path)});
  }
}

void CheckTools(const Forecast& forecast, Findings& findings) {
  const std::string rotation = InstallationPath("/bin/rotatelogs");
  if (forecast.settings.rotate_logs && !IsProgram(rotation)) {
    findings.push_back({.severity = Severity::kFailure,
                        .code = "rotation-missing",
                        .file = rotation,
                        .what = "The program that rotates the logs is missing.",
                        .effect = "The daemon cannot open its logs and does not start.",
                        .cure = "Install it, or set rotate-logs to 2.",
                        .keeps_down = true});
  }
  const std::string types = InstallationPath("/conf/mime.types");
  if (!HasName(types)) {
    findings.push_back({.severity = Severity::kFailure,
                        .code = "types-missing",
                        .file = types,
                        .what = "The daemon's table of media types is missing.",
                        .effect = "The daemon does not start.",
                        .cure = "Install the console's daemon again.",
                        .keeps_down = true});
  }
  for (const char* path : {"/bin/sh", "/sbin/ip", "/bin/chmod", "/bin/chown", "/bin/cp"}) {
    if (access(path, X_OK) != 0) {
      findings.push_back({.severity = Severity::kFailure,
                          .code = "tool-missing",
                          .file = path,
                          .what = "A program that a run calls is missing.",
                          .effect = "It goes on without what the program does.",
                          .cure = "Install the packages dash, coreutils and iproute2."});
    }
  }
}

void CheckPorts(Findings& findings) {
  for (const uint16_t port : kPorts) {
    for (const std::string& name : ListenersOn(port)) {
      if (name != kDaemonProcess) {
        findings.push_back({.severity = Severity::kFailure,
                            .code = "port-taken",
                            .file = "port " + std::to_string(port),
                            .what = "The port is taken by " + name + ".",
                            .effect = "The daemon cannot listen and does not start.",
                            .cure = "Stop the other program.",
                            .keeps_down = true});
      }
    }
  }
}

void CheckDescriptors(Findings& findings) {
  for (const std::string& path : BrokenDescriptors()) {
    findings.push_back(
        {.severity = Severity::kWarning,
         .code = "descriptor-damaged",
         .file = path,
         .what = "The web application's descriptor does not load.",
         .effect = "It logs the fault and loads none of the extensions that it names.",
         .cure = "Correct the file."});
  }
}

}  // namespace

void CheckPrograms(const Forecast& forecast, Findings& findings) {
  CheckDaemon(findings);
  CheckLauncher(findings);
  CheckTools(forecast, findings);
  CheckPorts(findings);
  CheckDescriptors(findings);
}

}  // namespace qvx::companion
