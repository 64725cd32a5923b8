#include "tls/pem_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>
#include <vector>

#include "os/copying.h"
#include "os/creation_mask.h"
#include "os/directories.h"
#include "os/directory_chains.h"
#include "os/file_replacement.h"
#include "os/files.h"
#include "os/new_files.h"
#include "os/protection.h"

namespace qvx {

namespace {

constexpr size_t kLargestFile = 1 << 20;
constexpr mode_t kPermissions = 07777;
constexpr mode_t kOwnersAlone = S_IRUSR | S_IWUSR;

std::string InShare(const char* name) {
  return TlsSharePath("/").append(name);
}

/// Returns the path of a name in the directory of `path`.
std::string Beside(const std::string& path, const std::string& name) {
  return path.substr(0, path.rfind('/') + 1) + name;
}

std::optional<Place> FindName(const std::string& path) {
  return FindPlace(path, Access::kChange, LastLink::kStay);
}

/// Whether two looks saw the same. What could not be read is known by its inode.
bool AreSame(const OldFile& a, const OldFile& b) {
  return a.text && b.text ? a.text == b.text
                          : a.type() == b.type() && a.status.st_dev == b.status.st_dev &&
                                a.status.st_ino == b.status.st_ino;
}

std::string CopyTarget(const std::string& path, const std::string& copy) {
  const std::optional<Place> place = FindPlace(copy, Access::kChange);
  return place && place->IsA(S_IFDIR) ? copy + path.substr(path.rfind('/')) : copy;
}

bool MakesWay(mode_t type) {
  return type == S_IFIFO || type == S_IFSOCK;
}

bool ForeseeWay(const std::string& path) {
  return MakesWay(LookAt(path).type()) && ForeseeRemoval(path) == 0;
}

/// Removes a pipe or socket. Returns whether there was one.
bool MakeWay(const std::string& path) {
  const std::optional<Place> place = FindName(path);
  return place && MakesWay(place->entry_status.st_mode & S_IFMT) && RemoveName(path);
}

enum class Secrecy { kPublic, kSecret };

/// Owner and mode of a copy; the mode is as "cp" gives it. Nobody else can open that of a key,
/// whatever the directory's access list says about new files. Where the account could exchange the
/// copy, it is made with the account's rights, so the file is the account's.
Birth CopyBirth(const std::string& path, const std::string& target, Secrecy secrecy) {
  const std::optional<Place> place = FindName(target);
  Birth birth = place && !place->is_held ? ServiceFile() : OwnFile(kOwnersAlone);
  birth.mode = kOwnersAlone;
  struct stat status = {};
  if (secrecy == Secrecy::kPublic && stat(path.c_str(), &status) == 0) {
    birth.mode = status.st_mode & kPermissions & ~CreationMask(0).before();
  }
  return birth;
}

/// Whether the file at `draft` is the whole old file, and the disk has it.
bool IsWhole(const std::string& draft, const OldFile& old) {
  const Descriptor copy = OpenDescriptor(draft, O_RDONLY);
  return AreSame(LookAt(draft), old) && (!copy || Synchronize(copy));
}

/// A link leaves the old file in its place until a new one takes that. A file system without hard
/// links lets it only be moved. A device with the set-aside name stays.
bool LinkOrMove(const std::string& path, const std::string& target, OldFile& old) {
  const std::optional<Place> from = FindName(path);
  const std::optional<Place> to = FindName(target);
  if (!from || !to || to->IsA(S_IFBLK) || to->IsA(S_IFCHR) || !AreSame(LookAt(path), old)) {
    return false;
  }
  const int from_directory = from->directory.get();
  const int to_directory = to->directory.get();
  const std::string draft = FurtherName(to->name, getpid(), kNewSuffix);
  unlinkat(to_directory, draft.c_str(), 0);
  if (linkat(from_directory, from->name.c_str(), to_directory, draft.c_str(), 0) == 0) {
    const bool is_kept = IsWhole(Beside(target, draft), old) &&
                         renameat(to_directory, draft.c_str(), to_directory, to->name.c_str()) == 0;
    unlinkat(to_directory, draft.c_str(), 0);  // a rename leaves a second name of its target
    return is_kept;
  }
  if (renameat(from_directory, from->name.c_str(), to_directory, to->name.c_str()) != 0) {
    return false;
  }
  old = {};
  return true;
}

/// What has the set-aside name may be another run's only copy of the same file. So the copy is made
/// under a temporary name, and replaces the other in one step, when it is whole. Where nothing can
/// be made in the directory, a copy that stands there can only be written anew.
Aside SetAside(const std::string& path, const std::string& copy, OldFile& old, Secrecy secrecy) {
  const std::string target = CopyTarget(path, copy);
  const bool is_worth_keeping = old.type() == S_IFREG || old.type() == S_IFLNK;
  std::optional<FileReplacement> draft;
  if (is_worth_keeping) {
    MakeWay(target);
    draft.emplace(target, CopyBirth(path, target, secrecy), LastLink::kStay, Fallback::kNone);
  }
  const bool has_draft = draft && *draft;
  const std::string copied_to = has_draft ? Beside(target, draft->temporary()) : copy;
  const CreationMask mask(secrecy == Secrecy::kSecret ? S_IRWXG | S_IRWXO : 0);
  const bool was_copied = OSCopyFile(path.c_str(), copied_to.c_str()) == 1;
  const bool is_kept =
      !is_worth_keeping ||
      (IsWhole(has_draft ? copied_to : target, old) && (!has_draft || draft->Commit())) ||
      LinkOrMove(path, target, old);
  if (is_kept) {
    return {was_copied || is_worth_keeping, Outcome::kDone};
  }
  return {was_copied, AreSame(LookAt(path), old) ? Outcome::kFailed : Outcome::kChanged};
}

/// A missing directory is made when the old pair is set aside.
Refusal ForeseeFile(const std::string& path) {
  const int error = ForeseeReplacement(path, LastLink::kStay);
  const bool is_mended =
      error == ENOENT ? ForeseeBuiltDirectories(path) : error == ENXIO && ForeseeWay(path);
  return {path, is_mended ? 0 : error};
}

/// Where nothing can be made in the directory, and where a mount has the name, a copy that stands
/// there is written anew. What the copy command cannot copy whole is linked to the name, or moved
/// there.
bool ForeseeAside(const std::string& path, const std::string& copy) {
  const OldFile old = LookAt(path);
  if (old.type() != S_IFREG && old.type() != S_IFLNK) {
    return true;
  }
  const std::string target = CopyTarget(path, copy);
  const int refusal = ForeseeReplacement(target, LastLink::kStay, Fallback::kNone);
  return refusal == 0 || (refusal == ENXIO && ForeseeWay(target)) ||
         (old.text && ForeseeOpening(target, O_WRONLY) == 0);
}

Birth SecretServiceFile() {
  Birth birth = ServiceFile();
  birth.is_secret = true;
  return birth;
}

bool Fill(FileReplacement& file, std::string_view text) {
  return file && file.Write(text) && file.Flush();
}

FileExchange::Judge SeenAs(const OldFile& old) {
  return [&old](const std::string& path) { return AreSame(LookAt(path), old); };
}

}  // namespace

std::string CertificatePath() {
  return InShare(kCertificateName);
}

std::string KeyPath() {
  return InShare(kKeyName);
}

std::string CertificateCopyPath() {
  return CopyTarget(CertificatePath(), InShare(kCertificateAsideName));
}

std::string KeyCopyPath() {
  return CopyTarget(KeyPath(), InShare(kKeyAsideName));
}

std::optional<std::string> ReadPemFile(const std::string& path) {
  const Descriptor file = OpenDescriptor(path, O_RDONLY);
  return file ? ReadRest(file, kLargestFile) : std::nullopt;
}

bool OldFile::is_unreadable_now() const {
  switch (error) {
    case 0:
    case EACCES:
    case EFBIG:
    case EISDIR:
    case ELOOP:
    case ENAMETOOLONG:
    case ENOTDIR:
    case ENXIO:
    case EPERM:
      return false;
    case ENOENT:
      return type() == S_IFREG;  // it has just come
    default:
      return true;
  }
}

OldFile LookAt(const std::string& path) {
  OldFile file;
  file.text = ReadPemFile(path);
  file.error = file.text ? 0 : errno;
  if (lstat(path.c_str(), &file.status) != 0) {
    file.status = {};
  }
  return file;
}

OldPair LookAtPair() {
  return {LookAt(CertificatePath()), LookAt(KeyPath())};
}

Descriptor OpenShare() {
  const std::string path = TlsSharePath("/");
  Descriptor place = OpenDirectory(path);
  if (!place && errno == ENOENT) {
    QVXBuildDirectory(CertificatePath().c_str());
    place = OpenDirectory(path);
  }
  return place ? Descriptor(openat(place.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC))
               : Descriptor();
}

bool RepairPair(const Descriptor& share) {
  const std::vector<std::string> names = {kCertificateName, kKeyName, kCertificateAsideName,
                                          kKeyAsideName};
  if (!share || !HasFurtherNames(share, names)) {
    return false;
  }
  TakeBackExchanges(TlsSharePath("/"), {kCertificateName, kKeyName}, Runs::kAll);
  for (const std::string& name : names) {
    RemoveLeftovers(InShare(name.c_str()));
  }
  return true;
}

void OpenToGroup(const OldFile& key) {
  if (key.status.st_mode != (S_IFREG | kOwnersAlone)) {
    return;
  }
  const Birth birth = ServiceFile();
  if (birth.error == 0 && key.status.st_uid == birth.user && key.status.st_gid == birth.group) {
    ChangeMode(KeyPath(), birth.mode);
  }
}

void DeletePair() {
  RemoveName(CertificatePath());
  RemoveName(KeyPath());
}

Aside SetCertificateAside(OldFile& old) {
  return SetAside(CertificatePath(), InShare(kCertificateAsideName), old, Secrecy::kPublic);
}

Aside SetKeyAside(OldFile& old) {
  return SetAside(KeyPath(), InShare(kKeyAsideName), old, Secrecy::kSecret);
}

bool SynchronizeShare() {
  const Descriptor share = OpenShare();
  return share ? Synchronize(share) : errno == EACCES;
}

bool ForeseeCertificateAside() {
  return ForeseeAside(CertificatePath(), InShare(kCertificateAsideName));
}

bool ForeseeKeyAside() {
  return ForeseeAside(KeyPath(), InShare(kKeyAsideName));
}

Refusal ForeseeStore() {
  Refusal certificate = ForeseeFile(CertificatePath());
  return certificate.error != 0 ? std::move(certificate) : ForeseeFile(KeyPath());
}

StoredPair StorePair(std::string_view certificate, std::string_view key, OldPair old) {
  using enum Outcome;
  old.certificate = MakeWay(CertificatePath()) ? OldFile{} : old.certificate;
  old.key = MakeWay(KeyPath()) ? OldFile{} : old.key;
  FileReplacement certificate_file(CertificatePath(), ServiceFile(), LastLink::kStay);
  if (!Fill(certificate_file, certificate)) {
    return {};  // before an old key is closed to others
  }
  FileReplacement key_file(KeyPath(), SecretServiceFile(), LastLink::kStay);
  const bool key_has_no_place = !key_file && errno == EISDIR;
  if (!key_has_no_place && !Fill(key_file, key)) {
    return {};
  }
  FileExchange certificates(certificate_file, CertificatePath(), std::string(certificate),
                            SeenAs(old.certificate));
  FileExchange keys(key_file, KeyPath(), std::string(key), SeenAs(old.key));
  Outcome outcome = certificates.Exchange();
  if (outcome == kDone && !key_has_no_place) {
    outcome = keys.Exchange();
  }
  if (outcome == kDone && !(certificates.Stands() && keys.Stands())) {
    outcome = kChanged;
  }
  if (outcome == kDone && !SynchronizeShare()) {
    outcome = kFailed;
  }
  if (outcome != kDone) {
    return {outcome, outcome};
  }
  certificates.Accept();
  keys.Accept();
  SynchronizeShare();
  return {.certificate = kDone, .key = key_has_no_place ? kFailed : kDone};
}

}  // namespace qvx
