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
#include "os/file_replacement.h"
#include "os/files.h"

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

/// A directory with the set-aside name takes the copy under the file's own name.
std::string CopyTarget(const std::string& path, const std::string& copy) {
  const std::optional<Place> place = FindPlace(copy, Access::kChange);
  return place && place->IsA(S_IFDIR) ? copy + path.substr(path.rfind('/')) : copy;
}

/// Makes the file into which a key is copied. Nobody else can open this file, whatever the
/// directory's access list says about new files. Where the account could exchange it, the copy is
/// made with the account's rights, so the file is the account's.
void PrepareSecretCopy(const std::string& target) {
  const std::optional<Place> place = FindName(target);
  Birth birth = place && !place->is_held ? ServiceFile() : OwnFile(kOwnersAlone);
  birth.mode = kOwnersAlone;
  FileReplacement(target, birth, LastLink::kStay, Fallback::kNone).Commit();
}

bool IsSameText(const std::string& path, const std::string& copy) {
  const std::optional<std::string> text = ReadPemFile(path);
  return text && ReadPemFile(copy) == text;
}

/// A link leaves the old file in its place until a new one takes that.
bool LinkOrMove(const Place& old, const std::string& target) {
  RemoveName(target);
  const std::optional<Place> to = FindName(target);
  if (!to || to->exists()) {
    return false;
  }
  const int from_directory = old.directory.get();
  const int to_directory = to->directory.get();
  return linkat(from_directory, old.name.c_str(), to_directory, to->name.c_str(), 0) == 0 ||
         renameat(from_directory, old.name.c_str(), to_directory, to->name.c_str()) == 0;
}

enum class Secrecy { kPublic, kSecret };

Aside SetAside(const std::string& path, const std::string& copy, Secrecy secrecy) {
  const std::optional<Place> old = FindName(path);
  const bool is_worth_keeping = old && (old->IsA(S_IFREG) || old->IsA(S_IFLNK));
  const std::string target = CopyTarget(path, copy);
  if (is_worth_keeping) {
    RemoveName(target);
    if (secrecy == Secrecy::kSecret) {
      PrepareSecretCopy(target);
    }
  }
  const CreationMask mask(secrecy == Secrecy::kSecret ? S_IRWXG | S_IRWXO : 0);
  const bool was_copied = OSCopyFile(path.c_str(), copy.c_str()) == 1;
  return {was_copied, !is_worth_keeping || IsSameText(path, target) || LinkOrMove(*old, target)};
}

void LetPipeMakeWay(const std::string& path) {
  const std::optional<Place> place = FindName(path);
  if (place && (place->IsA(S_IFIFO) || place->IsA(S_IFSOCK))) {
    RemoveName(path);
  }
}

/// A missing directory is made when the old pair is set aside.
bool ForeseeFile(const std::string& path) {
  const int refusal = ForeseeReplacement(path, LastLink::kStay);
  if (refusal == ENOENT) {
    return ForeseeBuiltDirectories(path);
  }
  const std::optional<Place> place = FindName(path);
  const bool makes_way = place && (place->IsA(S_IFIFO) || place->IsA(S_IFSOCK));
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

void DeletePair() {
  RemoveName(CertificatePath());
  RemoveName(KeyPath());
}

Aside SetCertificateAside() {
  return SetAside(CertificatePath(), InShare(kCertificateAsideName), Secrecy::kPublic);
}

Aside SetKeyAside() {
  return SetAside(KeyPath(), InShare(kKeyAsideName), Secrecy::kSecret);
}

bool ForeseeStore() {
  return ForeseeFile(CertificatePath()) && ForeseeFile(KeyPath());
}

StoredPair StorePair(std::string_view certificate, std::string_view key) {
  LetPipeMakeWay(CertificatePath());
  LetPipeMakeWay(KeyPath());
  FileReplacement certificate_file(CertificatePath(), ServiceFile(), LastLink::kStay);
  FileReplacement key_file(KeyPath(), SecretServiceFile(), LastLink::kStay);
  const bool key_has_no_place = !key_file && errno == EISDIR;
  if (!Fill(certificate_file, certificate) || (!key_has_no_place && !Fill(key_file, key))) {
    return {false, false};
  }
  const bool has_certificate = certificate_file.Commit();
  return {has_certificate, has_certificate && key_file.Commit()};
}

}  // namespace qvx
