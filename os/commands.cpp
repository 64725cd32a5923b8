#include "os/commands.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string_view>
#include <utility>

#include "os/files.h"

namespace {

constexpr int kShellFailed = 127;  // as a shell reports a command that it could not run
constexpr unsigned kSecondsBeforeFailedChildEnds = 1;
constexpr int kChildCheckMilliseconds = 50;  // how late the end of a command may be noticed while its output stays open

/// Repeats a system call that a signal interrupted.
template <typename Call>
auto Resumed(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

/// Past stdio: parent and child share the stream, and neither may write what the other has not flushed.
void Report(std::string_view text) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

struct Pipe {
  qvx::Descriptor read_end;
  qvx::Descriptor write_end;
};

std::optional<Pipe> MakePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  return Pipe{qvx::Descriptor(ends[0]), qvx::Descriptor(ends[1])};
}

/// A process that was started without standard streams gets pipe ends in their place, so the write end may be standard
/// output already: then it must only survive the exec, which closes the rest.
void MakeStandardOutput(qvx::Descriptor write_end) {
  if (write_end.get() == STDOUT_FILENO) {
    fcntl(write_end.release(), F_SETFD, 0);
    return;
  }
  Resumed([&write_end] { return dup2(write_end.get(), STDOUT_FILENO); });
}

/// Runs in the child.
int RunCaptured(const char* command, qvx::Descriptor write_end) {
  MakeStandardOutput(std::move(write_end));
  qvx::ExecuteShell(command);
  Report("process_linux_cmd: child's execv failed!\n");
  sleep(kSecondsBeforeFailedChildEnds);
  return kShellFailed;
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

/// Waits until there is output, or its end, or the command has ended. Returns whether the command has still to be
/// waited for.
bool RunsUntilOutput(int descriptor, pid_t child) {
  while (!IsReadable(descriptor, kChildCheckMilliseconds)) {
    if (HasEnded(child)) {
      return false;
    }
  }
  return true;
}

/// Takes what the command still prints until it ends. Its output may stay open longer than it lives, in a process that
/// it left in the background; that one is not waited for.
void DropRestUntilEnd(int descriptor, pid_t child) {
  char dropped[16384];
  for (;;) {
    if (IsReadable(descriptor, kChildCheckMilliseconds) && Read(descriptor, dropped, sizeof(dropped)) <= 0) {
      qvx::WaitForChild(child);
      return;
    }
    if (HasEnded(child)) {
      return;
    }
  }
}

}  // namespace

int32_t execute_linux_cmd(const char* command) {
  const pid_t child = qvx::StartChild([command] {
    qvx::ExecuteShell(command);
    Report("execute_linux_cmd: child's execv failed!\n");
    return kShellFailed;
  });
  if (child < 0) {
    Report("execute_linux_cmd: fork() failed! \n");
    return 0;
  }
  qvx::WaitForChild(child);
  return 1;
}

int32_t process_linux_cmd(const char* command, char* output, uint32_t size) {
  std::optional<Pipe> pipe = MakePipe();
  if (!pipe) {
    Report("process_linux_cmd: pipe() failed! \n");
    return -1;
  }
  const pid_t child = qvx::StartChild([command, &pipe] { return RunCaptured(command, std::move(pipe->write_end)); });
  if (child < 0) {
    Report("process_linux_cmd: fork() failed! \n");
    return -1;
  }
  pipe->write_end = qvx::Descriptor();
  const int output_end = pipe->read_end.get();
  const bool runs = RunsUntilOutput(output_end, child);
  if (IsReadable(output_end, 0)) {
    StoreFirstRead(output_end, output, size);
  }
  if (runs) {
    DropRestUntilEnd(output_end, child);
  }
  return 0;
}

int Callpopen() {
  qvx::CommandStream stream = qvx::OpenCommand("/sbin/ifconfig -a 2>/dev/null");
  return stream ? pclose(stream.release()) : -1;
}

namespace qvx {

void CommandCloser::operator()(std::FILE* stream) const {
  pclose(stream);
}

CommandStream OpenCommand(const char* command) {
  return CommandStream(popen(command, "re"));
}

void ExecuteShell(const char* command) {
  execl(kShell, "sh", "-c", command, static_cast<char*>(nullptr));
}

pid_t StartChild(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(body());
  }
  return child;
}

int WaitForChild(pid_t child, int options) {
  int status = 0;
  return Resumed([=, &status] { return waitpid(child, &status, options); }) == -1 ? -1 : status;
}

}  // namespace qvx
