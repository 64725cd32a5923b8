#include "os/access_lists.h"

#include <sys/xattr.h>

#include <cerrno>

namespace qvx {

namespace {

constexpr char kAccessList[] = "system.posix_acl_access";
constexpr char kDefaultList[] = "system.posix_acl_default";

/// Any other error leaves open whether there is a list.
bool MeansNoList(int error) {
  return error == ENODATA || error == EOPNOTSUPP;
}

bool Remove(const Descriptor& file, const char* list) {
  return fremovexattr(file.get(), list) == 0 || MeansNoList(errno);
}

}  // namespace

bool HasNoAccessList(const Descriptor& file) {
  return fgetxattr(file.get(), kAccessList, nullptr, 0) < 0 && MeansNoList(errno);
}

bool RemoveAccessList(const Descriptor& file) {
  return Remove(file, kAccessList);
}

bool RemoveDirectoryLists(const Descriptor& directory) {
  return Remove(directory, kAccessList) && Remove(directory, kDefaultList);
}

}  // namespace qvx
