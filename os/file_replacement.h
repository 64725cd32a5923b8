// The one place that writes whole files.
//
// A file is replaced whole or not at all. The new file is made beside the old one, as
// os/new_files.h says, and takes its place when it has been written completely. Before its first
// byte it gets its final owner and mode, and loses any access list that it inherited from the
// directory. Where the system refuses the owner, the file stays the process's, and a foreign group
// gets no more than everybody.
//
// An old file is written in place where its directory lets nothing be made, or where the file is a
// mount of its own. The new text is kept in memory until the end, and space is reserved for it.
// When writing fails, the old text is put back.
//
// Only a regular file is replaced and, with LastLink::kStay, a symbolic link. Devices, pipes,
// sockets and directories are refused, and so are files that are marked as immutable or
// append-only.
#ifndef QVX_OS_FILE_REPLACEMENT_H
#define QVX_OS_FILE_REPLACEMENT_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "os/descriptor.h"
#include "os/path_walk.h"

namespace qvx {

/// Owner and mode of a new file.
struct Birth {
  uid_t user;
  gid_t group;
  mode_t mode;
  bool is_secret = false;  ///< written in place, it is closed to others first
  int error = 0;           ///< not 0: it is not known whose the file is to be, and nothing is made
};

inline constexpr mode_t kServiceFileMode = 0660;

/// Owned by the service account, or by the process when there is no such account. Throws
/// std::bad_alloc.
Birth ServiceFile();
/// Owned by the process.
Birth OwnFile(mode_t mode);

/// Whether a file may be written in place where nothing can be made beside it.
enum class Fallback { kInPlace, kNone };

class FileReplacement {
 public:
  /// Begins the replacement of the file at `path`. With LastLink::kStay a link at the end of `path`
  /// is itself replaced, and its target stays. On failure the object is false, with errno set.
  FileReplacement(const std::string& path, const Birth& birth,
                  LastLink last_link = LastLink::kFollow, Fallback fallback = Fallback::kInPlace);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;
  FileReplacement(FileReplacement&&) = delete;
  FileReplacement& operator=(FileReplacement&&) = delete;

  explicit operator bool() const { return static_cast<bool>(file_); }

  bool is_in_place() const { return is_in_place_; }           ///< the old file keeps owner and mode
  bool is_held() const { return place_ && place_->is_held; }  ///< as Place::is_held

  /// Adds to the new text. Returns false when it could not be written.
  bool Write(std::string_view text);

  /// Writes the text that was added to the disk; where the file is written in place, reserves the
  /// space for it. Returns false when that failed.
  bool Flush();

  /// Puts the new file in the place of the old one. Returns false when that failed; the old file is
  /// then as it was.
  bool Commit();

  /// Closes the new file under its temporary name, and keeps its lock. Commit does that, too; the
  /// file can take its place by os/file_exchange.h instead. Returns false when it could not be
  /// written whole.
  bool Finish();
  /// Returns the name of the new file until it has taken its place; empty when there is none.
  const std::string& temporary() const { return temporary_; }
  const Place& place() const { return *place_; }  ///< once the file has a temporary name

  /// As Commit, but never replaces a file. A file that has appeared meanwhile stays, and the result
  /// is false.
  bool CommitNew();

 private:
  void MakeBeside(const Birth& birth);
  void OpenInPlace(const Birth& birth);
  bool WriteInPlace();

  std::optional<Place> place_;
  std::string temporary_;  // the name of the new file until it has taken its place
  Descriptor file_;
  Descriptor lock_;  // once the new file is closed
  std::string pending_;
  bool is_whole_ = true;
  bool is_in_place_ = false;
};

/// Replaces the file at `path` by a file with the content `text`. Returns false with errno set when
/// the old file is as it was.
bool ReplaceFile(const std::string& path, const Birth& birth, std::string_view text);

/// Returns the error with which the replacement of the file at `path` would fail, as far as that
/// can be told without making anything; 0 when none is foreseen. Opens nothing but to look at
/// names.
int ForeseeReplacement(const std::string& path, LastLink last_link = LastLink::kFollow,
                       Fallback fallback = Fallback::kInPlace);

/// A file that is foreseen not to be written.
struct Refusal {
  std::string path;
  int error;  ///< 0: it would be written
};

/// Returns the error with which RemoveName of os/files.h would fail, as far as that can be told; 0
/// when none is foreseen.
int ForeseeRemoval(const std::string& path);

/// Removes what killed processes left of new files for `path`. Making one does that, too.
void RemoveLeftovers(const std::string& path);

}  // namespace qvx

#endif
