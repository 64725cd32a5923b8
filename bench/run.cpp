// Runs a command and prints, as JSON, what it and its children took: processor time, the peak of
// the largest process, page faults. A process begins with the peak of the one that started it, so a
// large program cannot measure a small one.
//
//   bench_run COMMAND [ARGUMENT ...]
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

int main(int, char* arguments[]) {
  const pid_t child = fork();
  if (child == 0) {
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
      dup2(nothing, stream);
    }
    execvp(arguments[1], arguments + 1);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  const auto microseconds = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000000L +
                            usage.ru_utime.tv_usec + usage.ru_stime.tv_usec;
  std::printf("{\"seconds\": %.6f, \"peak\": %ld, \"faults\": %ld}\n",
              static_cast<double>(microseconds) / 1e6, usage.ru_maxrss * 1024,
              usage.ru_minflt + usage.ru_majflt);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
