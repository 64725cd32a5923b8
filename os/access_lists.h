// Access lists (acl(5)), which let accounts in that owner, group and mode do not name.
#ifndef QVX_OS_ACCESS_LISTS_H
#define QVX_OS_ACCESS_LISTS_H

#include "os/descriptor.h"

namespace qvx {

/// Returns whether it is sure that an open file or directory has no access list. O_PATH does not
/// open it.
bool HasNoAccessList(const Descriptor& file);

/// Removes the access list of an open file. Returns false with errno set when one may be left.
bool RemoveAccessList(const Descriptor& file);

/// Removes both lists of an open directory, also the one that new files in it inherit. Returns as
/// RemoveAccessList.
bool RemoveDirectoryLists(const Descriptor& directory);

}  // namespace qvx

#endif
