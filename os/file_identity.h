// Another identity at the file system for a scope.
#ifndef QVX_OS_FILE_IDENTITY_H
#define QVX_OS_FILE_IDENTITY_H

#include <sys/fsuid.h>
#include <sys/types.h>

namespace qvx {

/// What is made in the scope belongs to this user and group from the start, as far as the process
/// may take their identity (setfsuid(2)). Nothing is made that they may not make.
class FileIdentity {
 public:
  FileIdentity(uid_t user, gid_t group) {
    setfsgid(group);
    setfsuid(user);
  }
  ~FileIdentity() {
    setfsuid(user_);
    setfsgid(group_);
  }
  FileIdentity(const FileIdentity&) = delete;
  FileIdentity& operator=(const FileIdentity&) = delete;
  FileIdentity(FileIdentity&&) = delete;
  FileIdentity& operator=(FileIdentity&&) = delete;

 private:
  // An invalid ID only asks for the present one.
  uid_t user_ = static_cast<uid_t>(setfsuid(static_cast<uid_t>(-1)));
  gid_t group_ = static_cast<gid_t>(setfsgid(static_cast<gid_t>(-1)));
};

}  // namespace qvx

#endif
