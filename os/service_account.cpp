#include "os/service_account.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "os/descriptor.h"

namespace qvx {

namespace {

constexpr char kLocalAccounts[] = "/etc/passwd";
constexpr int kAttempts = 3;                // for an error that passes
constexpr size_t kEntrySize = 1024;         // doubled until the entry fits
constexpr size_t kLargestEntry = 1U << 20;  // no account's is larger

/// Returns the IDs of the account's line in the file of accounts, "name:password:user:group:...".
std::optional<AccountIds> FindIds(std::string accounts) {
  accounts.insert(0, 1, '\n');
  const std::string begin = std::string("\n") + kServiceAccount + ":";
  const size_t line = accounts.find(begin);
  const size_t password_end =
      line == std::string::npos ? line : accounts.find(':', line + begin.size());
  AccountIds ids{};
  if (password_end == std::string::npos ||
      std::sscanf(&accounts[password_end], ":%u:%u:", &ids.user, &ids.group) != 2) {
    return std::nullopt;
  }
  return ids;
}

AccountLookup LookUpLocally() {
  const Descriptor file(open(kLocalAccounts, O_RDONLY | O_CLOEXEC));
  const std::optional<std::string> accounts = file ? ReadRest(file) : std::nullopt;
  if (accounts) {
    return {FindIds(*accounts)};
  }
  return {std::nullopt, errno == ENOENT ? 0 : errno};
}

/// Returns whether an error of getpwnam_r(3) only says that nobody has the name.
bool MeansMissing(int error) {
  return error == 0 || error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
}

AccountLookup AskNameServices() {
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

/// The local file is read by itself first: the library passes over a file that it could not read to
/// the next name service, whose "no such account" would then be the answer.
AccountLookup LookUp() {
  const AccountLookup local = LookUpLocally();
  return local.ids || local.error != 0 ? local : AskNameServices();
}

}  // namespace

AccountLookup LookUpServiceAccount() {
  AccountLookup answer = LookUp();
  for (int attempts = 1; answer.error != 0 && attempts < kAttempts; ++attempts) {
    answer = LookUp();
  }
  return answer;
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
