// The one place that runs a child with the rights of the service account.
//
// The account may trace a process of its own, use its descriptors and read its variables. So such a
// child has nothing of the launcher's caller: it leads a session of its own, and no terminal, no
// descriptor beyond the standard streams, no session keyring and no closed directory goes with it.
// Until its exec it still is the launcher, but with another identity, and the kernel lets nobody
// trace it.
#ifndef QVX_OS_ACCOUNT_CHILD_H
#define QVX_OS_ACCOUNT_CHILD_H

#include <optional>
#include <string>

#include "os/service_account.h"

namespace qvx {

inline constexpr char kShell[] = "/bin/sh";

/// The variables of the launcher that a child gets.
enum class Variables { kAll, kPath };

/// Replaces a child of StartChild by the shell that runs `command` as `account`; without a value,
/// with the rights that the process has. The child leads a session, so the negative of its number
/// names all that it starts. A standard stream that is a terminal becomes /dev/null, and a working
/// directory that the account could not enter becomes the root directory. Returns only
/// on failure; standard error is then as it was.
void ExecuteDetached(const std::string& command, const std::optional<AccountIds>& account,
                     Groups groups, Variables variables);

}  // namespace qvx

#endif
