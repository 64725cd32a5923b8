#include "os/commands.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "os/account_child.h"
#include "os/descriptor.h"
#include "os/service_account.h"

namespace qvx {

namespace {

constexpr int kShellFailed = 127;  // the shell's own status for a command that it could not run
constexpr unsigned kSecondsAfterFailedStart = 1;
constexpr int kLongestAccountCommand = 3000;  // milliseconds

/// The end of a command is noticed at most this late while its output stays open.
constexpr int kChildCheckMilliseconds = 50;

/// Repeats a system call that a signal interrupted.
template <typename Call>
auto Resumed(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

/// Writes without stdio, because parent and child share the stream and its unwritten text.
void Report(std::string_view text) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

struct Pipe {
  Descriptor read_end;
  Descriptor write_end;
};

std::optional<Pipe> MakePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  return Pipe{Descriptor(ends[0]), Descriptor(ends[1])};
}

/// The result of starting a shell.
enum class Started { kRuns, kNoProcess, kNotExecuted };

struct Shell {
  Started started;
  pid_t process;
};

/// The actions of a new process before it becomes the shell. A valid `output` becomes its standard
/// output.
class SpawnActions {
 public:
  explicit SpawnActions(const Descriptor& output)
      : error_(posix_spawn_file_actions_init(&actions_)) {
    if (error_ == 0 && output) {
      error_ = posix_spawn_file_actions_adddup2(&actions_, output.get(), STDOUT_FILENO);
    }
  }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  SpawnActions(SpawnActions&&) = delete;
  SpawnActions& operator=(SpawnActions&&) = delete;

  int error() const { return error_; }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
  int error_;
};

/// Starts the shell on `command`. A valid `output` is its standard output. The process is spawned,
/// because a fork would copy the launcher's page tables, and that costs more than all the rest. In
/// a process that was started without standard streams, `output` may be descriptor 1 already; then,
/// too, it survives the exec.
Shell StartShell(const char* command, const Descriptor& output) {
  const SpawnActions actions(output);
  std::string name = "sh";
  std::string option = "-c";
  std::string text = command;
  char* const arguments[] = {name.data(), option.data(), text.data(), nullptr};
  pid_t process = -1;
  const int error = actions.error() != 0
                        ? actions.error()
                        : posix_spawn(&process, kShell, actions.get(), nullptr, arguments, environ);
  if (error == 0) {
    return {Started::kRuns, process};
  }
  return {error == EAGAIN || error == ENOMEM ? Started::kNoProcess : Started::kNotExecuted, -1};
}

ssize_t Read(int descriptor, char* buffer, size_t size) {
  return Resumed([=] { return read(descriptor, buffer, size); });
}

void StoreFirstRead(int descriptor, char* output, uint32_t size) {
  if (size == 0) {
    return;
  }
  const ssize_t count = Read(descriptor, output, size - 1);
  if (count > 0) {
    output[count] = '\0';
  }
}

bool HasEnded(pid_t child) {
  return Resumed([child] { return waitpid(child, nullptr, WNOHANG); }) != 0;
}

bool IsReadable(int descriptor, int milliseconds) {
  pollfd readable{descriptor, POLLIN, 0};
  return poll(&readable, 1, milliseconds) > 0;
}

/// Waits until there is output, or its end, or the command has ended. Returns whether the command
/// has still to be waited for.
bool RunsUntilOutput(int descriptor, pid_t child) {
  while (!IsReadable(descriptor, kChildCheckMilliseconds)) {
    if (HasEnded(child)) {
      return false;
    }
  }
  return true;
}

/// Reads and drops the command's output until the command ends. A process that it left in the
/// background may keep the output open and is not waited for.
void DropRestUntilEnd(int descriptor, pid_t child) {
  char dropped[16384];
  for (;;) {
    if (IsReadable(descriptor, kChildCheckMilliseconds) &&
        Read(descriptor, dropped, sizeof dropped) <= 0) {
      WaitForChild(child);
      return;
    }
    if (HasEnded(child)) {
      return;
    }
  }
}

constexpr std::string_view kExecuteForkFailed = "execute_linux_cmd: fork() failed! \n";
constexpr std::string_view kExecuteFailed = "execute_linux_cmd: child's execv failed!\n";

/// Whether the child ends within the time. Without pidfd_open(2) it is asked over and over.
bool EndsWithin(pid_t child, int milliseconds) {
  const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
  pollfd ended{process.get(), POLLIN, 0};
  if (process) {
    return Resumed([&ended, milliseconds] { return poll(&ended, 1, milliseconds); }) != 0;
  }
  for (int rest = milliseconds; !HasEnded(child); rest -= kChildCheckMilliseconds) {
    if (rest <= 0) {
      return false;
    }
    poll(nullptr, 0, kChildCheckMilliseconds);
  }
  return true;
}

/// Runs `command` as the service account. The rights stay as they are when the launcher is not root
/// or the account does not exist. A command that takes long is killed, because the account may have
/// put a pipe there on which it waits. Other groups are dropped: a start does not wait for a name
/// service before the network is up.
int32_t ExecuteAsAccount(const char* command) {
  const AccountLookup account = geteuid() == 0 ? LookUpServiceAccount() : AccountLookup{};
  if (account.error != 0) {
    return 0;
  }
  const pid_t child = StartChild([command, &account] {
    ExecuteDetached(command, account.ids, Groups::kOwn, Variables::kPath);
    Report(kExecuteFailed);
    return kShellFailed;
  });
  if (child < 0) {
    Report(kExecuteForkFailed);
    return 0;
  }
  if (!EndsWithin(child, kLongestAccountCommand)) {
    kill(-child, SIGKILL);
  }
  WaitForChild(child);
  return 1;
}

}  // namespace

int32_t RunCommand(const std::string& command, Rights rights) {
  return rights == Rights::kOwn ? execute_linux_cmd(command.c_str())
                                : ExecuteAsAccount(command.c_str());
}

void CommandCloser::operator()(std::FILE* stream) const {
  pclose(stream);
}

CommandStream OpenCommand(const char* command) {
  return CommandStream(popen(command, "re"));
}

pid_t StartChild(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    try {
      _exit(body());
    } catch (...) {  // no handler of the parent's may run here
      _exit(kShellFailed);
    }
  }
  return child;
}

int WaitForChild(pid_t child, int options) {
  int status = 0;
  return Resumed([=, &status] { return waitpid(child, &status, options); }) == -1 ? -1 : status;
}

}  // namespace qvx

int32_t execute_linux_cmd(const char* command) {
  const qvx::Shell shell = qvx::StartShell(command, qvx::Descriptor());
  switch (shell.started) {
    case qvx::Started::kNoProcess:
      qvx::Report(qvx::kExecuteForkFailed);
      return 0;
    case qvx::Started::kNotExecuted:
      qvx::Report(qvx::kExecuteFailed);
      return 1;
    case qvx::Started::kRuns:
      qvx::WaitForChild(shell.process);
      return 1;
  }
  return 0;
}

int32_t process_linux_cmd(const char* command, char* output, uint32_t size) {
  std::optional<qvx::Pipe> pipe = qvx::MakePipe();
  if (!pipe) {
    qvx::Report("process_linux_cmd: pipe() failed! \n");
    return -1;
  }
  const qvx::Shell shell = qvx::StartShell(command, pipe->write_end);
  if (shell.started == qvx::Started::kNoProcess) {
    qvx::Report("process_linux_cmd: fork() failed! \n");
    return -1;
  }
  if (shell.started == qvx::Started::kNotExecuted) {
    qvx::Report("process_linux_cmd: child's execv failed!\n");
    sleep(qvx::kSecondsAfterFailedStart);
    return 0;
  }
  pipe->write_end = qvx::Descriptor();
  const int output_end = pipe->read_end.get();
  const bool runs = qvx::RunsUntilOutput(output_end, shell.process);
  if (qvx::IsReadable(output_end, 0)) {
    qvx::StoreFirstRead(output_end, output, size);
  }
  if (runs) {
    qvx::DropRestUntilEnd(output_end, shell.process);
  }
  return 0;
}

int Callpopen() {
  qvx::CommandStream stream = qvx::OpenCommand("/sbin/ifconfig -a 2>/dev/null");
  return stream ? pclose(stream.release()) : -1;
}
