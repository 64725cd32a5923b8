#include "tests/harness/isolated.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace qvx::test {

namespace {

bool Unshare(int namespaces) {
  if (namespaces == 0) {
    return true;
  }
  if (unshare(namespaces) != 0) {
    return false;
  }
  return (namespaces & CLONE_NEWNS) == 0 ||
         mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace

int RunIsolated(int namespaces, const std::function<int()>& body) {
  constexpr int kNoNamespaces = 100;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const int status = Unshare(namespaces) ? body() : kNoNamespaces;
    std::fflush(nullptr);
    _exit(status);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) {
    return kNoNamespaces;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int FailuresAsStatus() {
  return testing::Test::HasFailure() ? 1 : 0;
}

}  // namespace qvx::test
