#include "tls/pem_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "os/copying.h"
#include "os/creation_mask.h"
#include "os/directories.h"
#include "os/directory_chains.h"
#include "os/file_exchange.h"
#include "os/file_replacement.h"
#include "os/files.h"
#include "os/new_files.h"

namespace qvx {

namespace {

constexpr size_t kLargestFile = 1 << 20;
constexpr mode_t kOwnersAlone = S_IRUSR | S_IWUSR;

std::string InShare(const char* name) {
  return TlsSharePath("/").append(name);
}

std::optional<Place> FindName(const std::string& path) {
  return FindPlace(path, Access::kChange, LastLink::kStay);
}

/// Whether two looks saw the same. What could not be read is known by its inode.
bool AreSame(const OldFile& a, const OldFile& b) {
  return a.text && b.text ? a.text == b.text
                          : a.type == b.type && a.device == b.device && a.inode == b.inode;
}

/// A directory with the set-aside name takes the copy under the file's own name.
std::string CopyTarget(const std::string& path, const std::string& copy) {
  const std::optional<Place> place = FindPlace(copy, Access::kChange);
  return place && place->IsA(S_IFDIR) ? copy + path.substr(path.rfind('/')) : copy;
}

bool MakesWay(mode_t type) {
  return type == S_IFIFO || type == S_IFSOCK;
}

/// Removes a pipe or socket. Returns whether there was one.
bool MakeWay(const std::string& path) {
  const std::optional<Place> place = FindName(path);
  return place && MakesWay(place->entry_status.st_mode & S_IFMT) && RemoveName(path);
}

/// Makes the file into which a key is copied, under the temporary name for `target`. Nobody else
/// can open this file, whatever the directory's access list says about new files. Where the account
/// could exchange it, the copy is made with the account's rights, so the file is the account's.
void PrepareSecretCopy(const std::string& target) {
  const std::optional<Place> place = FindName(target);
  Birth birth = place && !place->is_held ? ServiceFile() : OwnFile(kOwnersAlone);
  birth.mode = kOwnersAlone;
  FileReplacement(target, birth, LastLink::kStay, Fallback::kNone).Keep();
}

/// Gives a draft the set-aside name, if it is the whole old file, once the disk has it. A device
/// with that name stays.
bool PutAside(const std::string& draft, const std::string& target, const OldFile& old) {
  const std::optional<Place> from = FindName(draft);
  const std::optional<Place> to = FindName(target);
  if (!from || !to || to->IsA(S_IFBLK) || to->IsA(S_IFCHR) || !AreSame(LookAt(draft), old)) {
    return false;
  }
  const Descriptor copy = OpenDescriptor(draft, O_RDONLY);
  return (!copy || Synchronize(copy)) && renameat(from->directory.get(), from->name.c_str(),
                                                  to->directory.get(), to->name.c_str()) == 0;
}

/// A link leaves the old file in its place until a new one takes that. A file system without hard
/// links lets it only be moved.
bool LinkOrMove(const std::string& path, const std::string& draft, const std::string& target,
                OldFile& old) {
  RemoveName(draft);
  const std::optional<Place> from = FindName(path);
  const std::optional<Place> link = FindName(draft);
  const std::optional<Place> to = FindName(target);
  if (!from || !link || !to || !AreSame(LookAt(path), old)) {
    return false;
  }
  if (linkat(from->directory.get(), from->name.c_str(), link->directory.get(), link->name.c_str(),
             0) == 0) {
    return PutAside(draft, target, old);
  }
  if (to->IsA(S_IFBLK) || to->IsA(S_IFCHR) ||
      renameat(from->directory.get(), from->name.c_str(), to->directory.get(), to->name.c_str()) !=
          0) {
    return false;
  }
  old = {};
  return true;
}

enum class Secrecy { kPublic, kSecret };

/// The copy is made under a temporary name. What has the set-aside name may be another run's only
/// copy of the same file, so it is replaced in one step, by a whole copy.
Aside SetAside(const std::string& path, const std::string& copy, OldFile& old, Secrecy secrecy) {
  const std::string target = CopyTarget(path, copy);
  const std::string draft = TemporaryPath(target);
  const bool is_worth_keeping = old.type == S_IFREG || old.type == S_IFLNK;
  if (is_worth_keeping) {
    RemoveName(draft);
    MakeWay(target);
    if (secrecy == Secrecy::kSecret) {
      PrepareSecretCopy(target);
    }
  }
  const CreationMask mask(secrecy == Secrecy::kSecret ? S_IRWXG | S_IRWXO : 0);
  const bool was_copied = OSCopyFile(path.c_str(), draft.c_str()) == 1;
  const bool is_kept =
      !is_worth_keeping || PutAside(draft, target, old) || LinkOrMove(path, draft, target, old);
  RemoveName(draft);
  if (is_kept) {
    return {was_copied, Kept::kYes};
  }
  return {was_copied, AreSame(LookAt(path), old) ? Kept::kNo : Kept::kChanged};
}

/// A missing directory is made when the old pair is set aside.
bool ForeseeFile(const std::string& path) {
  const int refusal = ForeseeReplacement(path, LastLink::kStay);
  if (refusal == ENOENT) {
    return ForeseeBuiltDirectories(path);
  }
  const std::optional<Place> place = FindName(path);
  const bool makes_way = place && place->exists() && MakesWay(place->entry_status.st_mode & S_IFMT);
  return refusal == 0 || (refusal == ENXIO && makes_way);
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
    case ENOENT:
    case ENOTDIR:
    case ENXIO:
    case EPERM:
      return false;
    default:
      return true;
  }
}

OldFile LookAt(const std::string& path) {
  OldFile file;
  file.text = ReadPemFile(path);
  file.error = file.text ? 0 : errno;
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0) {
    file.type = status.st_mode & S_IFMT;
    file.device = status.st_dev;
    file.inode = status.st_ino;
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

bool RepairPair() {
  const bool was_found = TakeBackExchanges({CertificatePath(), KeyPath()});
  for (const char* name : {kCertificateName, kKeyName, kCertificateAsideName, kKeyAsideName}) {
    RemoveLeftovers(InShare(name));
  }
  return was_found;
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

bool ForeseeStore() {
  return ForeseeFile(CertificatePath()) && ForeseeFile(KeyPath());
}

StoredPair StorePair(std::string_view certificate, std::string_view key, OldPair old) {
  using enum FileExchange::Outcome;
  old.certificate = MakeWay(CertificatePath()) ? OldFile{} : old.certificate;
  old.key = MakeWay(KeyPath()) ? OldFile{} : old.key;
  FileReplacement certificate_file(CertificatePath(), ServiceFile(), LastLink::kStay);
  FileReplacement key_file(KeyPath(), SecretServiceFile(), LastLink::kStay);
  const bool key_has_no_place = !key_file && errno == EISDIR;
  if (!Fill(certificate_file, certificate) || (!key_has_no_place && !Fill(key_file, key))) {
    return {};
  }
  FileExchange certificates(certificate_file, CertificatePath(), SeenAs(old.certificate));
  FileExchange keys(key_file, KeyPath(), SeenAs(old.key));
  FileExchange::Outcome outcome = certificates.Exchange();
  if (outcome == kDone && !key_has_no_place) {
    outcome = keys.Exchange();
  }
  if (outcome != kDone || !certificates.Stands() || !keys.Stands()) {
    return {.was_changed = outcome != kFailed};
  }
  if (!SynchronizeShare()) {
    return {};
  }
  certificates.Accept();
  keys.Accept();
  SynchronizeShare();
  return {.certificate = true, .key = !key_has_no_place};
}

}  // namespace qvx
