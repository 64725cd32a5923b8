#include "companion/account_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string_view>
#include <utility>

#include "os/account_child.h"
#include "os/commands.h"
#include "os/descriptor.h"

namespace qvx::companion {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kAboveStreams = STDERR_FILENO + 1;
constexpr size_t kMostOutput = 1 << 16;
constexpr auto kLongestRun = std::chrono::seconds(10);
constexpr int kLook = 50;  // milliseconds
constexpr int kNotRun = 127;
constexpr int kSignalled = 128;

/// This process may have been started without standard streams.
Descriptor AboveStreams(int number) {
  const Descriptor low(number);
  return Descriptor(fcntl(number, F_DUPFD_CLOEXEC, kAboveStreams));
}

/// Returns an invalid descriptor when the file cannot be made.
Descriptor FileWith(std::string_view text) {
  Descriptor file = AboveStreams(memfd_create("qvxctl", MFD_CLOEXEC));
  return file && WriteAll(file, text) ? std::move(file) : Descriptor();
}

struct Streams {
  Descriptor input;
  Descriptor output;
};

/// Runs in the child. Returns only when the command is not executed.
int Become(const std::string& command, const std::optional<AccountIds>& account,
           const Streams& streams) {
  if (chdir("/") == 0 && dup2(streams.input.get(), STDIN_FILENO) >= 0 &&
      dup2(streams.output.get(), STDOUT_FILENO) >= 0 &&
      dup2(streams.output.get(), STDERR_FILENO) >= 0) {
    ExecuteDetached(command, account, Groups::kOwn, Variables::kPath);
  }
  return kNotRun;
}

/// Reads the output until the child has ended. What it has left behind is not waited for. Returns
/// the wait status, or nothing when the time is over.
std::optional<int> ReadUntilEnd(pid_t child, const Descriptor& output, std::string& text) {
  bool is_open = true;
  char piece[4096];
  for (const auto end = Clock::now() + kLongestRun; Clock::now() < end;) {
    pollfd readable{is_open ? output.get() : -1, POLLIN, 0};
    if (poll(&readable, 1, kLook) > 0) {
      const ssize_t count = read(output.get(), piece, sizeof piece);
      is_open = count > 0;
      text.append(piece,
                  std::min(is_open ? static_cast<size_t>(count) : 0, kMostOutput - text.size()));
      continue;
    }
    int status = 0;
    if (waitpid(child, &status, WNOHANG) == child) {
      return status;
    }
  }
  kill(-child, SIGKILL);
  WaitForChild(child);
  return std::nullopt;
}

}  // namespace

std::optional<AccountRun> RunAsAccount(const std::string& command, const std::string& input) {
  const AccountLookup account = geteuid() == 0 ? LookUpServiceAccount() : AccountLookup{};
  int ends[2];
  if ((geteuid() == 0 && !account.ids) || pipe2(ends, O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  const Descriptor output = AboveStreams(ends[0]);
  Streams streams{FileWith(input), AboveStreams(ends[1])};
  const pid_t child = StartChild([&] { return Become(command, account.ids, streams); });
  streams = Streams();
  AccountRun run;
  const std::optional<int> status =
      child < 0 ? std::nullopt : ReadUntilEnd(child, output, run.output);
  if (!status || *status == W_EXITCODE(kNotRun, 0)) {
    return std::nullopt;
  }
  run.status = WIFEXITED(*status) ? WEXITSTATUS(*status) : kSignalled + WTERMSIG(*status);
  return run;
}

}  // namespace qvx::companion
