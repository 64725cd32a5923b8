// A parent for the launcher that is really called like the daemon; run through a link, it has the
// link's name.
//
//   zxqvxd leader|worker PROGRAM [ARGUMENT ...]
//
// It leads a session and, like the server, counts the SIGUSR1 that reach it. As "leader" it runs
// the program itself, in its own process group. As "worker" it has a child in another group run the
// program. It prints the program's exit status and the number of signals that its first process
// got.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string_view>

namespace {

volatile std::sig_atomic_t signals = 0;

void Count(int) {
  signals = signals + 1;
}

int Status(pid_t child) {
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) {
    return 255;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int RunHere(char** command) {
  const pid_t child = fork();
  if (child == 0) {
    execv(command[0], command);
    _exit(255);
  }
  return Status(child);
}

int RunInAnotherGroup(char** command) {
  const pid_t worker = fork();
  if (worker == 0) {
    setpgid(0, 0);
    _exit(RunHere(command));
  }
  return Status(worker);
}

}  // namespace

int main(int argument_count, char* arguments[]) {
  if (argument_count < 3 || setsid() < 0) {
    return 255;
  }
  std::signal(SIGUSR1, Count);
  char** command = arguments + 2;
  const bool worker = std::string_view(arguments[1]) == "worker";
  const int status = worker ? RunInAnotherGroup(command) : RunHere(command);
  std::printf("status %d, signals %d\n", status, static_cast<int>(signals));
}
