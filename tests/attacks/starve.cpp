// A preloaded library. The first allocation of the process by certain callers fails. They are known
// by the number in QVX_STARVE_AT. QVX_STARVE_LIST is a file to which the numbers of all callers are
// added, 8 bytes each, in the order of their allocations. The commands of the process are not
// affected. A process that would wait for itself in pthread_once is ended, and the file /opt/hung
// is made: OpenSSL 3.5 does so when an allocation of its own beginning fails.
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the allocator behind the replaced functions.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

uint64_t starved = 0;  // 0: nobody
int list = -1;
bool is_passive = true;  // outside of the process's own work

/// Returns a number for the functions that led here. Where they are in memory differs from run to
/// run, but not where they are in their pages (FNV-1a).
uint64_t Callers() {
  void* callers[64];
  const int count = backtrace(callers, 64);
  uint64_t number = 0xcbf29ce484222325;
  for (int i = 0; i < count; ++i) {
    constexpr uintptr_t kInPage = 0xfff;
    number = (number ^ (reinterpret_cast<uintptr_t>(callers[i]) & kInPage)) * 0x100000001b3;
  }
  return number;
}

[[gnu::constructor]] void Begin() {
  const char* number = std::getenv("QVX_STARVE_AT");
  const char* file = std::getenv("QVX_STARVE_LIST");
  starved = number == nullptr ? 0 : std::strtoull(number, nullptr, 10);
  list = file == nullptr ? -1 : open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  unsetenv("LD_PRELOAD");
  Callers();  // the first call loads a library
  is_passive = starved == 0 && list < 0;
}

void MakeSign(const char* path) {
  close(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
}

bool Fails() {
  if (is_passive) {
    return false;
  }
  is_passive = true;
  const uint64_t callers = Callers();
  const bool fails = callers == starved;
  if (list >= 0 && write(list, &callers, sizeof callers) < 0) {
    _exit(1);
  }
  is_passive = fails;
  if (fails) {
    errno = ENOMEM;
  }
  return fails;
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
