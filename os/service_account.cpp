#include "os/service_account.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace qvx {

std::optional<AccountIds> ServiceAccountIds() {
  const passwd* account = getpwnam(kServiceAccount);
  return account == nullptr ? std::nullopt
                            : std::optional(AccountIds{account->pw_uid, account->pw_gid});
}

// The real and saved IDs are set, too: a shell sets effective IDs that differ from the real ones
// back, and would so run as root. Groups come first, while the process may still change them. A
// process of the account itself may not set supplementary groups, and needs not.
bool BecomeServiceAccount(const AccountIds& account) {
  const bool is_account = getuid() == account.user && geteuid() == account.user;
  return (is_account || initgroups(kServiceAccount, account.group) == 0) &&
         setresgid(account.group, account.group, account.group) == 0 &&
         setresuid(account.user, account.user, account.user) == 0;
}

}  // namespace qvx
