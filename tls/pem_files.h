// Looking at, setting aside and storing the certificate and the key.
//
// A file is replaced by its name in the TLS share directory; the target of a link stays. What is
// set aside and what is replaced is exactly what was looked at. An old file is replaced only when a
// whole copy of it stands under its set-aside name, and the disk has that copy. Both files of a new
// pair are completed before either takes its place, and what comes out of the places is compared
// with what was looked at: another file is put back (os/file_exchange.h). A new key belongs to the
// service account. The copy of an old key has mode 0600 and belongs to root, or to the account
// where the account could exchange it.
#ifndef QVX_TLS_PEM_FILES_H
#define QVX_TLS_PEM_FILES_H

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "os/descriptor.h"
#include "os/file_exchange.h"

namespace qvx {

// The names of the files in the TLS share directory, and their set-aside names.
inline constexpr char kCertificateName[] = "cert.pem";
inline constexpr char kKeyName[] = "file.pem";
inline constexpr char kCertificateAsideName[] = "certmm.pem";
inline constexpr char kKeyAsideName[] = "filemm.pem";

std::string CertificatePath();
std::string KeyPath();

/// Return where the copy of the old certificate or key goes. A directory with the set-aside name
/// takes it under the file's own name.
std::string CertificateCopyPath();
std::string KeyCopyPath();

/// Returns the content of a file; nothing with errno set when it cannot be read whole or exceeds
/// 1 MiB, which no pair does (EFBIG).
std::optional<std::string> ReadPemFile(const std::string& path);

/// What stands at a name.
struct OldFile {
  std::optional<std::string> text;  ///< nothing when it cannot be read
  int error = 0;                    ///< why it cannot be read
  struct stat status = {};          ///< of a link itself; zeros when there is nothing

  mode_t type() const { return status.st_mode & S_IFMT; }
  /// Returns whether it cannot be read for a reason that may pass, such as memory that ran out.
  bool is_unreadable_now() const;
};

struct OldPair {
  OldFile certificate;
  OldFile key;
};

OldFile LookAt(const std::string& path);
OldPair LookAtPair();

/// Opens the TLS share directory for its lock, and makes a missing one. Returns an invalid
/// descriptor when it cannot be opened.
Descriptor OpenShare();

/// Puts back what a killed run left half replaced, and removes its files. `share` is from
/// OpenShare. Returns whether there was anything of the kind.
bool RepairPair(const Descriptor& share);

/// Gives a key that belongs to the service account and its group the mode that it was born with,
/// when it has mode 0600. A run leaves that when it is killed while it protects a key that it has
/// written in place.
void OpenToGroup(const OldFile& key);

/// Removes certificate and key. A failure is ignored.
void DeletePair();

struct Aside {
  bool is_told;  ///< the copy command ran, or the file has the set-aside name without it
  Outcome kept;  ///< kDone: a whole copy has the set-aside name, or there was nothing to keep
};

/// Copy the certificate or the key to its set-aside name with OSCopyFile. Where the copy is not
/// whole, the file is linked to that name or moved there, and then keeps its owner and mode. `old`
/// tells afterwards what stands in the place.
Aside SetCertificateAside(OldFile& old);
Aside SetKeyAside(OldFile& old);

/// Writes the names in the TLS share directory to the disk. Returns false when they may be lost.
bool SynchronizeShare();

/// Returns the file of a new pair that would not take its place, and why, as far as that can be
/// told without making anything.
Refusal ForeseeStore();

/// Return whether the old certificate or key could be set aside, in the same way.
bool ForeseeCertificateAside();
bool ForeseeKeyAside();

struct StoredPair {
  Outcome certificate = Outcome::kFailed;
  Outcome key = Outcome::kFailed;
};

/// Writes a new pair in the place of `old`. When either file could not be written, or another file
/// than `old` says stood in a place, neither takes its place. When a directory has the name of the
/// key, only the certificate takes its place. A pipe or socket with either name is removed first.
StoredPair StorePair(std::string_view certificate, std::string_view key, OldPair old);

}  // namespace qvx

#endif
