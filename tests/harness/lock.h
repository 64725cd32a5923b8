// A test that stands for another process with a lock. Its program is linked with --wrap=flock.
#ifndef QVX_TESTS_HARNESS_LOCK_H
#define QVX_TESTS_HARNESS_LOCK_H

#include <functional>

namespace qvx::test {

/// Is called, and forgotten, when the tested code is refused a lock the next time.
extern std::function<void()> when_lock_is_refused;

}  // namespace qvx::test

#endif
