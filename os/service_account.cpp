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

bool BecomeServiceAccount(const AccountIds& account, Groups groups) {
  // A shell resets its effective IDs to the real ones, so it would run as root if these stayed. The
  // groups come first, while the process may still change them. A process of the account itself may
  // not set supplementary groups and does not need to.
  const bool is_account = getuid() == account.user && geteuid() == account.user;
  const auto set_groups = [&account, groups] {
    return (groups == Groups::kAll ? initgroups(kServiceAccount, account.group)
                                   : setgroups(1, &account.group)) == 0;
  };
  return (is_account || set_groups()) &&
         setresgid(account.group, account.group, account.group) == 0 &&
         setresuid(account.user, account.user, account.user) == 0;
}

}  // namespace qvx
