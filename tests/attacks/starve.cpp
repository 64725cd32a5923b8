// A preloaded library. One allocation of the process fails, the one whose number is in
// QVX_STARVE_AT, and the file /opt/starved is made as a sign. The commands of the process are not
// affected.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the allocator behind the replaced functions.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

long fails_after = 0;  // 0: never

[[gnu::constructor]] void Begin() {
  const char* number = std::getenv("QVX_STARVE_AT");
  fails_after = number == nullptr ? 0 : std::atol(number);
  unsetenv("LD_PRELOAD");
}

bool Fails() {
  if (fails_after == 0 || --fails_after != 0) {
    return false;
  }
  close(open("/opt/starved", O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" void* malloc(size_t size) {
  return Fails() ? nullptr : __libc_malloc(size);
}

extern "C" void* calloc(size_t count, size_t size) {
  return Fails() ? nullptr : __libc_calloc(count, size);
}

extern "C" void* realloc(void* memory, size_t size) {
  return Fails() ? nullptr : __libc_realloc(memory, size);
}
