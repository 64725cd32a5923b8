// A machine of the test's own: no addresses, an empty /tmp, a host name that nobody else changes,
// and a settings record that no earlier case has touched.
#ifndef QVX_TESTS_SETTINGS_FRESH_MACHINE_H
#define QVX_TESTS_SETTINGS_FRESH_MACHINE_H

#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {

/// Runs `body`, which makes assertions, in a child.
inline void OnFreshMachine(const std::function<void()>& body) {
  ServiceOwner();
  PassIsolated(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWUTS, [&] {
    ASSERT_EQ(mount("tmpfs", "/tmp", "tmpfs", 0, nullptr), 0);
    body();
  });
}

/// Lets "/sbin/ip" print `output`, on a fresh machine.
inline void RecordIpOutput(std::string_view output) {
  WriteText("/tmp/output", output);
  WriteText("/tmp/ip", "#!/bin/sh\nexec cat /tmp/output\n");
  std::filesystem::permissions("/tmp/ip", std::filesystem::perms(0755));
  EXPECT_EQ(mount("/tmp/ip", "/sbin/ip", "none", MS_BIND, nullptr), 0);
}

}  // namespace qvx::test

#endif
