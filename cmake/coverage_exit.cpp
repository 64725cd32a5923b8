// Replaces _exit(2) in programs with coverage counters, and writes the counters first.
#include <fcntl.h>
#include <unistd.h>

namespace {

/// Another account may not write the counter files, and a process without descriptors cannot open
/// them. The library would complain on standard error.
bool MayWriteCounters() {
  const int descriptor = open("/", O_RDONLY | O_CLOEXEC);
  return geteuid() == 0 && descriptor >= 0 && close(descriptor) == 0;
}

}  // namespace

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): names of the compiler and the linker.
void __gcov_dump();
[[noreturn]] void __real__exit(int status);

[[noreturn]] void __wrap__exit(int status) {
  if (MayWriteCounters()) {
    __gcov_dump();
  }
  __real__exit(status);
}
// NOLINTEND(bugprone-reserved-identifier)
}
