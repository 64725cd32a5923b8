// What the service account can do beside a run of the launcher, until it is ended.
//
//   attacker exchange FILE ...    exchanges each file with FILE.other, over and over
//   attacker lease FILE ...       holds a write lease on each file
//
// It prints a line when it has begun. And what it can do in a run:
//
//   attacker type                 types a letter into a terminal; fails when it has none
//   attacker key PROGRAM ...      runs the program with a session keyring that holds a key,
//   "secret"
#include <fcntl.h>
#include <linux/keyctl.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>

namespace {

constexpr unsigned kPause = 50;  // microseconds, which leave the machine to the others

void Exchange(const std::string& file) {
  renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, (file + ".other").c_str(), RENAME_EXCHANGE);
}

bool Lease(const char* file) {
  const int descriptor = open(file, O_RDWR | O_CLOEXEC);
  return descriptor >= 0 && fcntl(descriptor, F_SETLEASE, F_WRLCK) == 0;
}

bool Type(int terminal) {
  return ioctl(terminal, TIOCSTI, "x") == 0;
}

bool TypeSomewhere() {
  return Type(STDIN_FILENO) || Type(STDOUT_FILENO) || Type(STDERR_FILENO) ||
         Type(open("/dev/tty", O_RDWR | O_CLOEXEC));
}

int RunWithKey(char* arguments[]) {
  syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr);
  syscall(SYS_add_key, "user", "secret", "x", 1, KEY_SPEC_SESSION_KEYRING);
  return execv(arguments[0], arguments);
}

}  // namespace

int main(int argument_count, char* arguments[]) {
  const std::string_view act = arguments[1];
  if (act == "type") {
    return TypeSomewhere() ? 0 : 1;
  }
  if (act == "key") {
    return RunWithKey(arguments + 2);
  }
  const std::span<char*> files(arguments + 2, static_cast<size_t>(argument_count - 2));
  const bool exchanges = act == "exchange";
  std::signal(SIGIO, SIG_IGN);  // tells the holder of a lease to give it back
  if (!exchanges && !std::all_of(files.begin(), files.end(), Lease)) {
    return 1;
  }
  std::puts("begun");
  std::fflush(stdout);
  while (usleep(kPause) == 0) {
    if (exchanges) {
      std::for_each(files.begin(), files.end(), Exchange);
    }
  }
}
