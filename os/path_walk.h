// Going to where a path leads, without being led astray.
//
// The launcher works as root on files that the service account owns, in directories that it may
// own, too. Whoever may write to a directory can put a link to somebody else's file there, or move
// what others have put there, also between a look and the use of what was seen. So every path is
// walked once, level by level, and what was found is held by descriptors.
//
// - A symbolic link is followed only when it belongs to root or to the effective user. On the way
// to
//   something that is to be changed, nobody else may be able to move the link about, either.
// - A directory is held when nobody but root and the effective user can change what a name in it
//   stands for. In a directory that is not held, somebody else's file is not changed. It is not
//   read, either, when it has a further (hard) link elsewhere.
//
// What is refused by these rules fails with ELOOP.
#ifndef QVX_OS_PATH_WALK_H
#define QVX_OS_PATH_WALK_H

#include <sys/stat.h>

#include <optional>
#include <string>

#include "os/descriptor.h"

namespace qvx {

/// A path to what a descriptor holds, for calls that refuse a descriptor of O_PATH.
std::string PathOf(const Descriptor& file);

/// What a path is walked for.
enum class Access { kRead, kChange };

/// What to do with a symbolic link at the end of a path.
enum class LastLink { kFollow, kStay };

/// Where a path leads: a directory and a name in it, and what bears that name.
struct Place {
  Descriptor directory;  ///< opened with O_PATH, like `entry`
  std::string name;      ///< "." when the path ends in the directory itself
  Descriptor entry;      ///< none when nothing has that name
  struct stat directory_status {};
  struct stat entry_status {};  ///< with an entry only
  bool is_held = true;          ///< every directory on the way was held

  bool exists() const { return static_cast<bool>(entry); }
  bool IsA(mode_t type) const { return exists() && (entry_status.st_mode & S_IFMT) == type; }
};

/// Walks `path`; a relative one starts in the working directory. Its last name needs not exist.
/// Returns nothing with errno set when a level is missing or no directory, or a link is not
/// followed.
std::optional<Place> FindPlace(const std::string& path, Access access,
                               LastLink last_link = LastLink::kFollow);

/// Whether a file with this status may be opened, or changed, under a name in the place's
/// directory.
bool MayStep(const Place& place, const struct stat& file, Access access);

/// Opens the directory that `path` leads to, for fchdir(2) and the calls that work relative to a
/// directory. Returns none with errno set on failure.
Descriptor OpenDirectory(const std::string& path);

}  // namespace qvx

#endif
