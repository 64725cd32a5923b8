#include "tests/harness/lock.h"

#include <cerrno>
#include <utility>

namespace qvx::test {

std::function<void()> when_lock_is_refused;

}  // namespace qvx::test

// The linker gives this what asks for the lock.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
int __real_flock(int file, int operation);
int __wrap_flock(int file, int operation) {
  const int result = __real_flock(file, operation);
  if (result != 0 && qvx::test::when_lock_is_refused) {
    std::exchange(qvx::test::when_lock_is_refused, nullptr)();
    errno = EWOULDBLOCK;
  }
  return result;
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
