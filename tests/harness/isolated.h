// Running a part of a test in a child process with namespaces of its own, and what such a part
// needs.
#ifndef QVX_TESTS_HARNESS_ISOLATED_H
#define QVX_TESTS_HARNESS_ISOLATED_H

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <functional>

namespace qvx::test {

/// Runs `body` in a child process after unshare(2) with `namespaces` (CLONE_NEWNS, CLONE_NEWNET,
/// CLONE_NEWUTS, ...; 0: none). A mount namespace is first made private, so its mounts do not show
/// outside. Returns the status that `body` returned; 100 when the child or its namespaces could not
/// be made; 128 plus the number of the signal when the child was killed.
int RunIsolated(int namespaces, const std::function<int()>& body);

/// The same for a body that makes GoogleTest assertions. The test fails when one of them does.
void PassIsolated(int namespaces, const std::function<void()>& body);

}  // namespace qvx::test

#endif
