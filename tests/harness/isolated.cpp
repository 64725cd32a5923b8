#include "tests/harness/isolated.h"

#include <sys/wait.h>

#include <cstdio>

namespace qvx::test {

namespace {

bool Unshare(int namespaces) {
  const bool has_mounts = (namespaces & CLONE_NEWNS) != 0;
  return unshare(namespaces) == 0 &&
         (!has_mounts || mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0);
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

void PassIsolated(int namespaces, const std::function<void()>& body) {
  const auto status = [&body]() noexcept {
    body();
    return testing::Test::HasFailure() ? 1 : 0;
  };
  EXPECT_EQ(RunIsolated(namespaces, status), 0);
}

}  // namespace qvx::test
