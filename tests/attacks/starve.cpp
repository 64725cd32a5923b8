// A preloaded library. One allocation of the process fails, the one whose number is in
// QVX_STARVE_AT, and the file /opt/starved is made as a sign. The commands of the process are not
// affected. A process that would wait for itself in pthread_once is ended, and the file /opt/hung
// is made: OpenSSL 3.5 does so when an allocation of its own beginning fails.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
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

void MakeSign(const char* path) {
  close(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
}

bool Fails() {
  if (fails_after == 0 || --fails_after != 0) {
    return false;
  }
  MakeSign("/opt/starved");
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

/// Other threads are not thought of.
extern "C" int pthread_once(pthread_once_t* control, void (*routine)()) {
  static const pthread_once_t* running[8] = {};
  static size_t count = 0;
  for (size_t i = 0; i < count; ++i) {
    if (running[i] == control) {
      MakeSign("/opt/hung");
      _exit(124);  // as of timeout(1)
    }
  }
  using Once = int(pthread_once_t*, void (*)());
  static auto* const next = reinterpret_cast<Once*>(dlsym(RTLD_NEXT, "pthread_once"));
  running[count++] = control;
  const int result = next(control, routine);
  --count;
  return result;
}
