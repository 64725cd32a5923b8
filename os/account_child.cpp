#include "os/account_child.h"

#include <fcntl.h>
#include <linux/keyctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "os/descriptor.h"

namespace qvx {

namespace {

constexpr int kFirstInherited = STDERR_FILENO + 1;

/// Whoever holds a terminal can read what its user types. In the terminal's session, he can also
/// type into it.
void GiveUpTerminals() {
  const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
  for (int stream = STDIN_FILENO; stream < kFirstInherited; ++stream) {
    if (isatty(stream) != 0 && (!nothing || dup2(nothing.get(), stream) == -1)) {
      close(stream);
    }
  }
}

/// The keyring comes before the identity is changed, because the account could use up its own quota
/// of keys. Where the system refuses to make a keyring, the child can use none either.
bool LeaveCaller() {
  if (setsid() == -1) {
    return false;
  }
  closefrom(kFirstInherited);
  syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr);
  return true;
}

/// Whoever is in a directory can reach what is in it, even if the directories above are closed to
/// him. So the account stays only where it could have gone by itself.
bool LeaveClosedDirectory() {
  char path[PATH_MAX];
  return (getcwd(path, sizeof path) != nullptr && chdir(path) == 0) || chdir("/") == 0;
}

void ExecuteShell(std::string command, Variables variables) {
  const char* const found = std::getenv("PATH");
  std::string path = found == nullptr ? "" : std::string("PATH=") + found;
  char* path_alone[] = {found == nullptr ? nullptr : path.data(), nullptr};
  std::string name = "sh";
  std::string option = "-c";
  char* const arguments[] = {name.data(), option.data(), command.data(), nullptr};
  execve(kShell, arguments, variables == Variables::kAll ? environ : path_alone);
}

}  // namespace

void ExecuteDetached(const std::string& command, const std::optional<AccountIds>& account,
                     Groups groups, Variables variables) {
  if (!LeaveCaller()) {
    return;
  }
  const Descriptor errors(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, kFirstInherited));
  GiveUpTerminals();
  if (!account || (BecomeServiceAccount(*account, groups) && LeaveClosedDirectory())) {
    ExecuteShell(command, variables);
  }
  dup2(errors.get(), STDERR_FILENO);
}

}  // namespace qvx
