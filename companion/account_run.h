// Running a command on what the service account has written.
#ifndef QVX_COMPANION_ACCOUNT_RUN_H
#define QVX_COMPANION_ACCOUNT_RUN_H

#include <optional>
#include <string>

namespace qvx::companion {

/// Where the command finds its input, a file without a name.
inline constexpr char kInputPath[] = "/proc/self/fd/0";

struct AccountRun {
  int status = 0;        ///< the exit status, or 128 plus the number of the signal
  std::string output{};  ///< of both streams, 64 KiB at most
};

/// Runs a shell command in "/", with the rights of the service account when this process is root,
/// else with its own, and otherwise as os/account_child.h says. Whatever the input makes the
/// command do, the account could do itself. Returns nothing when the command could not be run, and
/// when it has not ended after ten seconds. Throws std::bad_alloc.
std::optional<AccountRun> RunAsAccount(const std::string& command, const std::string& input);

}  // namespace qvx::companion

#endif
