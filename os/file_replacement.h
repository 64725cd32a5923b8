// Writing a whole file, the one place for it.
//
// A file is replaced whole or not at all. The new one is made beside the old one, under the name
// ".NAME.PID.new", and takes its place when everything has been written and tested. It is born with
// its final owner and at most its final mode, and without an access list of the directory's, before
// its first byte. What a process that was killed has left behind is removed by RemoveLeftovers.
//
// An old file is written in place where its directory lets nothing be made, or where it is a mount
// of its own. The new text is kept until the end, and space is reserved for it. When writing fails,
// the old text is put back.
//
// Nothing but a regular file is replaced: no device, pipe, socket or directory, and no file that is
// marked as immutable.
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
  bool is_secret = false;  ///< one that is written in place is closed to others first
};

/// The service account's, with mode 0660; the process's own when there is no such account.
Birth ServiceFile();
/// The process's own.
Birth OwnFile(mode_t mode);

/// What may be done where nothing can be made beside the old file.
enum class Fallback { kInPlace, kNone };

class FileReplacement {
 public:
  /// Begins the replacement of the file at `path`. With LastLink::kStay a link at its end is itself
  /// replaced, not what it leads to. On failure the object is false, with errno set.
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

  /// Has the system write what was added to the disk. Returns false when it could not.
  bool Flush();

  /// Puts the new file in the place of the old one. Returns false when that failed; the old one is
  /// then as it was.
  bool Commit();

  /// As Commit, but never over a file. One that has come there meanwhile stays, and false is
  /// returned.
  bool CommitNew();

 private:
  void MakeBeside(const Birth& birth);
  void OpenInPlace(bool is_secret);
  bool Close();
  bool WriteInPlace();

  std::optional<Place> place_;
  std::string temporary_;  // the name of the new file until it has taken its place
  Descriptor file_;
  std::string pending_;
  bool is_whole_ = true;
  bool is_in_place_ = false;
};

/// Replaces the file at `path` by `text`. Returns false with errno set when it is as it was.
bool ReplaceFile(const std::string& path, const Birth& birth, std::string_view text);

/// Removes what killed processes have left in the directory of `path`. This process must not be
/// making a file there.
void RemoveLeftovers(const std::string& path);

}  // namespace qvx

#endif
