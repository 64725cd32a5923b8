#include "launcher/launcher.h"

#include <apr_general.h>
#include <apr_pools.h>
#include <apr_thread_rwlock.h>
#include <sys/types.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "launcher/daemon_parent.h"
#include "launcher/environment.h"
#include "launcher/generation.h"
#include "log/ring_log.h"
#include "os/directories.h"
#include "os/protection.h"
#include "tls/pair_check.h"
#include "tls/pem_files.h"
#include "webconf/agent_map.h"
#include "webconf/server_conf.h"
#include "webconf/servlet_container.h"

apr_pool_t* qvx_start_pool = nullptr;

namespace qvx {

namespace {

/// The argument count chooses the mode, the program's name included.
constexpr int kStartMode = 1;
constexpr int kReconfigureMode = 2;
constexpr int kPermissionsMode = 3;

/// The launcher and its commands are usually members of the process group that this or another
/// reconfigure run signals. The daemon would inherit the setting, so a start leaves it alone.
void IgnoreReconfigureSignal() {
  std::signal(SIGUSR1, SIG_IGN);
}

void StartApr() {
  if (apr_initialize() != APR_SUCCESS) {
    return;  // then nothing is locked, and nothing else needs APR
  }
  std::atexit(apr_terminate);
  if (apr_pool_create_ex(&qvx_start_pool, nullptr, nullptr, nullptr) == APR_SUCCESS) {
    apr_thread_rwlock_create(&rwlock_log_file, qvx_start_pool);
  }
}

int ChangePermissions(pid_t parent) {
  struct Permission {
    std::string_view text;
    mode_t mode;
  };
  constexpr Permission kPermissions[] = {{"744", 0744}, {"755", 0755}, {"766", 0766}};

  if (!IsDaemon(parent)) {
    return kRefused;
  }
  const char* wanted = std::getenv("QVXPERMS");
  const char* file = std::getenv("QVXFPATH");
  if (wanted == nullptr || file == nullptr) {
    return EXIT_SUCCESS;
  }
  for (const Permission& permission : kPermissions) {
    if (permission.text == wanted) {
      ChangeMode(file, permission.mode);
    }
  }
  return EXIT_SUCCESS;
}

void Print(const char* text) {
  std::fputs(text, stdout);
  std::fflush(stdout);
}

/// Writes every generated file. Returns the exit status when the run ends here, else nothing.
std::optional<int> Generate() {
  if (SSLServerInit() == 0) {
    Print(kNoTls);
    return EXIT_SUCCESS;
  }
  if (ParseQVXInternalXML() == 1) {
    Print(kNoSettings);
    Print(kAskAdministrator);
    return kRefused;
  }
  WriteRALOListMapFile();
  return std::nullopt;
}

/// The daemon leads its session and its process group, so one number names both. The number comes
/// from a command, and the system may have given the parent's number to another process meanwhile.
/// So the launcher has to be the parent's child still. A caller with fewer rights could end the
/// parent between this look and the signal, so there the launcher has to be a member of the session
/// itself: then the number cannot come to name a session of others. killpg(3) takes 0 for the
/// launcher's own group, and in a PID namespace a session from outside has the number 0. It would
/// take 1 for every process, and the first process of a PID namespace may lead the session 1. So
/// neither is signalled.
void SignalDaemon(pid_t parent, const std::string& session) {
  const int group = std::atoi(session.c_str());  // only leading digits count
  const bool is_certain = getsid(0) == group || !HasMoreRights();
  if (group > 1 && is_certain && getsid(parent) == group && getppid() == parent) {
    killpg(group, SIGUSR1);
  }
}

int Reconfigure(pid_t parent) {
  const std::string session = SessionOf(parent);
  if (IsDaemon(parent)) {
    SignalDaemon(parent, session);
  }
  return EXIT_SUCCESS;
}

int ExecuteDaemon(std::string daemon, std::string configuration) {
  std::string define = "-DSSL";
  std::string file_option = "-f";
  char* const arguments[] = {daemon.data(), define.data(), file_option.data(), configuration.data(),
                             nullptr};
  execv(daemon.c_str(), arguments);
  return kDaemonNotExecuted;
}

/// The steps of a run, in their order.
int Run(int argument_count) {
  if (argument_count == kReconfigureMode || argument_count == kPermissionsMode) {
    IgnoreReconfigureSignal();
  }
  // Beyond a limit on the size of files a write fails then, as on a full disk.
  void (*const size_handler)(int) = std::signal(SIGXFSZ, SIG_IGN);
  LimitEnvironment();
  unsetenv("LD_ASSUME_KERNEL");
  const pid_t parent = getppid();
  StartApr();
  SetupLogsAndDebug(qvx_start_pool);
  if (IsNewPairAsked()) {
    DeletePair();
  }
  const std::string configuration = ServerConfPath();
  const std::string daemon = InstallationPath(kDaemonName);

  if (argument_count == kPermissionsMode) {
    return ChangePermissions(parent);
  }
  if (argument_count > kPermissionsMode) {
    return kRefused;
  }
  if (const std::optional<int> status = Generate()) {
    return *status;
  }
  if (argument_count == kReconfigureMode) {
    return Reconfigure(parent);
  }
  if (argument_count != kStartMode) {
    return EXIT_SUCCESS;
  }
  load_tomcat();
  std::signal(SIGXFSZ, size_handler);  // for the daemon
  return ExecuteDaemon(daemon, configuration);
}

}  // namespace

int RunLauncher(int argument_count) {
  try {
    return Run(argument_count);
  } catch (const std::bad_alloc&) {
    constexpr std::string_view kNoMemory = "qvxlauncher: out of memory\n";
    [[maybe_unused]] const ssize_t written =
        write(STDERR_FILENO, kNoMemory.data(), kNoMemory.size());
    return kRefused;
  }
}

}  // namespace qvx
