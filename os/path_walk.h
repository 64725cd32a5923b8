// Finding what a path names, in directories that others may write to.
//
// The launcher works as root on files that the service account owns, in directories that it may
// own, too. Whoever may write to a directory can put a link to another account's file there, or
// move the files of others, even between a check and the use of its result. So every path is walked
// once, level by level, and every level is held by a descriptor. A path without symbolic links can
// be walked by the kernel alone.
//
// A name in a directory is held when only root and the effective user can change which file it
// names. The rules:
//
// - A symbolic link is followed only when it belongs to root or to the effective user. On the way
//   to a file that is to be changed, the link's name must be held, too.
// - In a directory of any other account, only files of that account are changed, and those of the
//   service account without a further hard link. Files of others are read, unless they have a
//   further hard link.
// - In a directory of root or the effective user, a file with a further hard link is neither read
//   nor changed under a name that is not held.
// - A directory under a name that is not held is changed only when it belongs to the owner of the
//   directory around it, or to the service account.
//
// What these rules refuse fails with ELOOP.
#ifndef QVX_OS_PATH_WALK_H
#define QVX_OS_PATH_WALK_H

#include <sys/stat.h>

#include <optional>
#include <string>

#include "os/descriptor.h"

namespace qvx {

/// Returns whether the account is root or the effective user.
bool IsTrusted(uid_t user);

/// Returns a path to what a descriptor holds, for calls that refuse a descriptor of O_PATH.
std::string PathOf(const Descriptor& file);

/// The purpose of a walk.
enum class Access { kRead, kChange };

/// What to do with a symbolic link at the end of a path: kStay finds the link itself.
enum class LastLink { kFollow, kStay };

/// The end of a path: a directory, a name in it, and the entry with that name.
struct Place {
  Descriptor directory;  ///< opened with O_PATH, like `entry`
  std::string name;      ///< "." when the path ends in the directory itself
  Descriptor entry;      ///< invalid when nothing has that name
  struct stat directory_status = {};
  struct stat entry_status = {};  ///< set when there is an entry
  bool is_held = true;            ///< every name on the way was held

  bool exists() const { return static_cast<bool>(entry); }
  bool IsA(mode_t type) const { return exists() && (entry_status.st_mode & S_IFMT) == type; }
};

/// Walks `path`; a relative one starts in the working directory. Its last name may be missing.
/// Returns nothing with errno set when another level is missing or is no directory, and when a link
/// is not followed.
std::optional<Place> FindPlace(const std::string& path, Access access,
                               LastLink last_link = LastLink::kFollow);

/// Finds the entry of a path without symbolic links and with at least a slash, in fewer steps: the
/// rules judge no step of such a path, only its end. Whether its names are held stays unknown, and
/// `is_held` is false. Returns nothing for any other path, and when there is no entry.
std::optional<Place> FindPlainPlace(const std::string& path);

/// Returns whether the rules let a file or directory with this status be opened or changed under a
/// name in the place's directory.
bool MayStep(const Place& place, const struct stat& file, Access access);

/// Opens the directory that `path` leads to, for fchdir(2) and the calls that work relative to a
/// directory. Returns an invalid descriptor with errno set on failure.
Descriptor OpenDirectory(const std::string& path);

}  // namespace qvx

#endif
