// Running a piece of a test in a child process with namespaces of its own.
#ifndef QVX_TESTS_HARNESS_ISOLATED_H
#define QVX_TESTS_HARNESS_ISOLATED_H

#include <functional>

namespace qvx::test {

/// Runs `body` in a child process after unshare(2) with `namespaces` (CLONE_NEWNS, CLONE_NEWNET,
/// CLONE_NEWUTS, ...; 0: just a child). A mount namespace is made private first, so that nothing
/// that is mounted in it shows outside. Returns the status that `body` returned; 100 when the
/// namespaces could not be made, 128 and the signal's number when the child was killed.
int RunIsolated(int namespaces, const std::function<int()>& body);

/// For a body that makes GoogleTest assertions: 0 when none failed in this process so far, else 1.
int FailuresAsStatus();

}  // namespace qvx::test

#endif
