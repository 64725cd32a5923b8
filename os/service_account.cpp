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

namespace {

bool SetGroups(const AccountIds& account, Groups groups) {
  if (groups == Groups::kAll) {
    return initgroups(kServiceAccount, account.group) == 0;
  }
  const group* const of_files = getgrnam(kServiceAccount);
  const gid_t supplementary = of_files != nullptr ? of_files->gr_gid : account.group;
  return setgroups(1, &supplementary) == 0;
}

}  // namespace

bool BecomeServiceAccount(const AccountIds& account, Groups groups) {
  // A shell resets its effective IDs to the real ones, so it would run as root if these stayed. The
  // groups come first, while the process may still change them. A process of the account itself may
  // not set supplementary groups and does not need to.
  const bool is_account = getuid() == account.user && geteuid() == account.user;
  return (is_account || SetGroups(account, groups)) &&
         setresgid(account.group, account.group, account.group) == 0 &&
         setresuid(account.user, account.user, account.user) == 0;
}

}  // namespace qvx
