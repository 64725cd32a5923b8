// The account that owns the console's files and runs the web server's workers.
#ifndef QVX_OS_SERVICE_ACCOUNT_H
#define QVX_OS_SERVICE_ACCOUNT_H

#include <sys/types.h>

#include <optional>

namespace qvx {

/// The name of the account and of its group.
inline constexpr char kServiceAccount[] = "zxqvx";

struct AccountIds {
  uid_t user;
  gid_t group;
};

/// The answer of the user database. A database that could not be asked does not say that there is
/// no such account.
struct AccountLookup {
  std::optional<AccountIds> ids;  ///< nothing when there is no such account
  int error = 0;                  ///< not 0: the database could not be asked
};

/// Asks the user database for the account: the local file first, then the host's name services
/// (getpwnam_r(3)). An error is tried again twice. Throws std::bad_alloc.
AccountLookup LookUpServiceAccount();

/// The groups of a process with the account's identity.
enum class Groups {
  kAll,  ///< also the supplementary ones, for which every name service of the host may be asked
  kOwn,  ///< the account's own, and that of its name, which has the console's files
};

/// Gives the process the account's identity for good: groups, and the real, effective and saved
/// IDs. Returns false when the system refused a step.
bool BecomeServiceAccount(const AccountIds& account, Groups groups);

}  // namespace qvx

#endif
