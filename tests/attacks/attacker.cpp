// What the service account can do beside a run of the launcher, until it is ended.
//
//   attacker exchange FILE ...    exchanges each file with FILE.other, over and over
//   attacker lease FILE ...       holds a write lease on each file
//
// It prints a line when it has begun.
#include <fcntl.h>
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

}  // namespace

int main(int argument_count, char* arguments[]) {
  const std::span<char*> files(arguments + 2, static_cast<size_t>(argument_count - 2));
  const bool exchanges = std::string_view(arguments[1]) == "exchange";
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
