// Acts of the service account during a run of the launcher, repeated until the process is ended.
//
//   attacker exchange FILE ...    exchanges each file with FILE.other, over and over
//   attacker lease FILE ...       holds a write lease on each file
//
// It prints a line when it has begun.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>

namespace {

constexpr unsigned kPause = 50;  // microseconds, so that the others get the processor

void Exchange(const std::string& file) {
  renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, (file + ".other").c_str(), RENAME_EXCHANGE);
}

bool Lease(const char* file) {
  const int descriptor = open(file, O_RDWR | O_CLOEXEC);
  return descriptor >= 0 && fcntl(descriptor, F_SETLEASE, F_WRLCK) == 0;
}

}  // namespace

int main(int argument_count, char* arguments[]) {
  const std::span<char*> all(arguments, static_cast<size_t>(argument_count));
  const bool exchanges = all.size() > 1 && std::string_view(all[1]) == "exchange";
  std::signal(SIGIO, SIG_IGN);  // tells the holder of a lease to give it back
  for (const char* file : all.subspan(exchanges ? all.size() : 2)) {
    if (!Lease(file)) {
      return 1;
    }
  }
  std::puts("begun");
  std::fflush(stdout);
  while (usleep(kPause) == 0) {
    for (const char* file : all.subspan(exchanges ? 2 : all.size())) {
      Exchange(file);
    }
  }
}
