#include "os/file_replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "os/access_lists.h"
#include "os/file_identity.h"
#include "os/files.h"
#include "os/new_files.h"
#include "os/service_account.h"

namespace qvx {

namespace {

constexpr mode_t kSecretMode = 0600;
constexpr mode_t kGroupBits = S_IRWXG;
constexpr mode_t kOthersBits = S_IRWXO;
constexpr unsigned kGroupShift = 3;                  // from the bits of others
constexpr uid_t kSameUser = static_cast<uid_t>(-1);  // for fchown(2), like the next
constexpr gid_t kSameGroup = static_cast<gid_t>(-1);
constexpr size_t kBlockSize = 65536;

/// Replaces the content of an open file by `text`.
bool Overwrite(const Descriptor& file, std::string_view text) {
  return lseek(file.get(), 0, SEEK_SET) == 0 && WriteAll(file, text) &&
         ftruncate(file.get(), static_cast<off_t>(text.size())) == 0;
}

/// Returns true on a file system that cannot reserve. There the write itself shows whether space is
/// left.
bool Reserve(const Descriptor& file, size_t size) {
  return size == 0 ||
         fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0 ||
         errno == EOPNOTSUPP || errno == ENOSYS;
}

/// Returns whether the group of a file whose owner cannot be given may have the file. A directory
/// can hand on any group.
bool HasKnownGroup(const Descriptor& file, gid_t wanted) {
  struct stat status = {};
  return fstat(file.get(), &status) == 0 &&
         (status.st_gid == wanted || fchown(file.get(), kSameUser, getegid()) == 0);
}

/// Makes the new file. Where the system lets no owner be given (no CAP_CHOWN), a file of the
/// account's in a directory of the account's is made with its identity: a file of root's there
/// could not be opened again, as os/path_walk.h says.
NewFile MakeFor(const Place& place, const Birth& birth) {
  NewFile made = MakeNewFile(place);
  if (!made.file || place.directory_status.st_uid != birth.user ||
      fchown(made.file.get(), birth.user, kSameGroup) == 0) {
    return made;
  }
  const FileIdentity identity(birth.user, birth.group);
  NewFile accounts = MakeNewFile(place);
  if (!accounts.file) {
    return made;
  }
  unlinkat(place.directory.get(), made.name.c_str(), 0);
  return accounts;
}

/// Gives a new file its owner and mode. Containers and shares refuse owners, and some file systems
/// modes. The file can be used all the same. Then a foreign group gets what everybody gets.
bool GiveBirth(const Descriptor& file, const Birth& birth) {
  if (!RemoveAccessList(file)) {
    return false;
  }
  mode_t mode = birth.mode;
  if (fchown(file.get(), birth.user, birth.group) != 0 && !HasKnownGroup(file, birth.group)) {
    mode = (mode & ~kGroupBits) | ((mode & kOthersBits) << kGroupShift);
  }
  fchmod(file.get(), mode);
  return true;
}

/// Closes an old file to all who will not own the new text. A process that has the file open
/// already goes on seeing it. What a killed run leaves is open to no fewer than it has to be.
bool CloseToOthers(const Descriptor& file, const Birth& birth) {
  struct stat status = {};
  if (fstat(file.get(), &status) != 0) {
    return false;
  }
  const bool has_owners = status.st_uid == birth.user && status.st_gid == birth.group;
  return fchmod(file.get(), has_owners ? status.st_mode & birth.mode : kSecretMode) == 0;
}

/// Returns the STATX_ATTR_... bits of the file, or 0 when there is no file.
uint64_t AttributesOf(const Place& place) {
  struct statx status = {};
  return place.exists() && statx(place.entry.get(), "", AT_EMPTY_PATH, STATX_TYPE, &status) == 0
             ? status.stx_attributes
             : 0;
}

/// These attributes would make the last step fail, when another file may have been replaced
/// already.
constexpr uint64_t kImmutable = STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND;

/// A file that is a mount of its own cannot be renamed over.
constexpr uint64_t kMounted = STATX_ATTR_MOUNT_ROOT;

/// Returns the error with which the entry refuses to be replaced, or 0.
int RefusalOf(const Place& place, LastLink last_link, uint64_t attributes) {
  if (!place.exists() || (place.IsA(S_IFLNK) && last_link == LastLink::kStay)) {
    return 0;
  }
  if (!place.IsA(S_IFREG)) {
    return place.IsA(S_IFDIR) ? EISDIR : ENXIO;
  }
  return (attributes & kImmutable) != 0 ? EPERM : 0;
}

bool IsRefusedByDirectory(int error) {
  return error == EACCES || error == EPERM || error == EROFS;
}

}  // namespace

Birth ServiceFile() {
  const AccountLookup account = LookUpServiceAccount();
  const AccountIds ids = account.ids.value_or(AccountIds{geteuid(), getegid()});
  return {.user = ids.user,
          .group = ids.group,
          .mode = kServiceFileMode,
          .is_secret = false,
          .error = account.error};
}

Birth OwnFile(mode_t mode) {
  return {geteuid(), getegid(), mode};
}

FileReplacement::FileReplacement(const std::string& path, const Birth& birth, LastLink last_link,
                                 Fallback fallback)
    : place_(FindPlace(path, Access::kChange, last_link)) {
  if (!place_) {
    return;
  }
  if (birth.error != 0) {
    errno = birth.error;
    return;
  }
  const uint64_t attributes = AttributesOf(*place_);
  if (const int refusal = RefusalOf(*place_, last_link, attributes)) {
    errno = refusal;
    return;
  }
  const bool is_mounted = (attributes & kMounted) != 0;
  if (!is_mounted) {
    MakeBeside(birth);
  }
  const bool must_stay = is_mounted || (!file_ && IsRefusedByDirectory(errno));
  if (must_stay && fallback == Fallback::kInPlace && place_->IsA(S_IFREG)) {
    OpenInPlace(birth);
  }
}

FileReplacement::~FileReplacement() {
  if (!temporary_.empty()) {
    const int error = errno;
    unlinkat(place_->directory.get(), temporary_.c_str(), 0);
    errno = error;
  }
}

void FileReplacement::MakeBeside(const Birth& birth) {
  NewFile made = MakeFor(*place_, birth);
  if (!made.file) {
    return;
  }
  temporary_ = std::move(made.name);
  if (GiveBirth(made.file, birth)) {
    file_ = std::move(made.file);
  }
}

void FileReplacement::OpenInPlace(const Birth& birth) {
  Descriptor file = OpenEntry(*place_, O_RDWR);
  is_in_place_ = file && (!birth.is_secret || CloseToOthers(file, birth));
  if (is_in_place_) {
    file_ = std::move(file);
  }
}

bool FileReplacement::Write(std::string_view text) {
  pending_.append(text);
  if (!is_in_place_ && pending_.size() >= kBlockSize) {
    is_whole_ = is_whole_ && WriteAll(file_, pending_);
    pending_.clear();
  }
  return is_whole_;
}

bool FileReplacement::Flush() {
  if (is_in_place_) {
    return Reserve(file_, pending_.size());
  }
  is_whole_ = is_whole_ && WriteAll(file_, pending_) && Synchronize(file_);
  pending_.clear();
  return is_whole_;
}

bool FileReplacement::Finish() {
  lock_ = Descriptor(fcntl(file_.get(), F_DUPFD_CLOEXEC, 0));
  is_whole_ = is_whole_ && WriteAll(file_, pending_);
  pending_.clear();
  return close(file_.release()) == 0 && is_whole_;
}

bool FileReplacement::Commit() {
  if (!file_) {
    return false;
  }
  if (is_in_place_) {
    return WriteInPlace();
  }
  const int directory = place_->directory.get();
  if (!Finish() || renameat(directory, temporary_.c_str(), directory, place_->name.c_str()) != 0) {
    return false;
  }
  temporary_.clear();
  return true;
}

bool FileReplacement::CommitNew() {
  if (!file_ || is_in_place_ || !Finish()) {
    return false;
  }
  const int directory = place_->directory.get();
  const char* const name = place_->name.c_str();
  if (renameat2(directory, temporary_.c_str(), directory, name, RENAME_NOREPLACE) != 0) {
    // Old kernels and some file systems cannot do that. There an empty file reserves the name.
    if (errno == EEXIST ||
        !Descriptor(openat(directory, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                           kSecretMode)) ||
        renameat(directory, temporary_.c_str(), directory, name) != 0) {
      return false;
    }
  }
  temporary_.clear();
  return true;
}

bool FileReplacement::WriteInPlace() {
  const Descriptor file = std::move(file_);
  const std::optional<std::string> old_text = ReadRest(file);
  if (!old_text || !Reserve(file, pending_.size())) {
    return false;
  }
  if (Overwrite(file, pending_)) {
    return true;
  }
  const int error = errno;
  Overwrite(file, *old_text);
  errno = error;
  return false;
}

bool ReplaceFile(const std::string& path, const Birth& birth, std::string_view text) {
  FileReplacement file(path, birth);
  return file && file.Write(text) && file.Commit();
}

int ForeseeReplacement(const std::string& path, LastLink last_link, Fallback fallback) {
  const std::optional<Place> place = FindPlace(path, Access::kChange, last_link);
  if (!place) {
    return errno;
  }
  const uint64_t attributes = AttributesOf(*place);
  if (const int refusal = RefusalOf(*place, last_link, attributes)) {
    return refusal;
  }
  const bool is_mounted = (attributes & kMounted) != 0;
  const int refusal = is_mounted ? EROFS : AccessError(place->directory, ".", W_OK | X_OK);
  if (fallback == Fallback::kNone || !IsRefusedByDirectory(refusal) || !place->IsA(S_IFREG)) {
    return refusal;
  }
  return ForeseeOpening(path, O_RDWR);
}

int ForeseeRemoval(const std::string& path) {
  const std::optional<Place> place = FindPlace(path, Access::kChange, LastLink::kStay);
  if (!place || !place->exists()) {
    return place ? ENOENT : errno;
  }
  if (place->IsA(S_IFDIR)) {
    return EISDIR;
  }
  const uint64_t attributes = AttributesOf(*place);
  const bool stays =
      place->IsA(S_IFBLK) || place->IsA(S_IFCHR) || (attributes & (kImmutable | kMounted)) != 0;
  return stays ? EPERM : AccessError(place->directory, ".", W_OK | X_OK);
}

void RemoveLeftovers(const std::string& path) {
  if (const std::optional<Place> place = FindPlace(path, Access::kChange, LastLink::kStay)) {
    RemoveLeftovers(*place);
  }
}

}  // namespace qvx
