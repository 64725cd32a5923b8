#include "os/service_account.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace qvx {

namespace {

constexpr size_t kEntrySize = 1024;         // doubled until the entry fits
constexpr size_t kLargestEntry = 1U << 20;  // no account's is larger

/// Returns whether an error of getpwnam_r(3) only says that nobody has the name.
bool MeansMissing(int error) {
  return error == 0 || error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
}

}  // namespace

AccountLookup LookUpServiceAccount() {
  std::string texts(kEntrySize, '\0');
  passwd entry{};
  passwd* found = nullptr;
  int error = 0;
  while ((error = getpwnam_r(kServiceAccount, &entry, texts.data(), texts.size(), &found)) ==
             ERANGE &&
         texts.size() < kLargestEntry) {
    texts.resize(2 * texts.size());
  }
  if (found != nullptr) {
    return {AccountIds{entry.pw_uid, entry.pw_gid}};
  }
  return {std::nullopt, MeansMissing(error) ? 0 : error};
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
