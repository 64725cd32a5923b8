// Reading, setting aside and storing the certificate and the key.
//
// A file is replaced by its name in the TLS share directory; the target of a link stays. An old
// file is replaced only when a whole copy of it stands under its set-aside name. Both files of a
// new pair are completed before either takes its place. A new key belongs to the service account.
// The copy of an old key has mode 0600 and belongs to root, or to the account where the account
// could exchange it.
#ifndef QVX_TLS_PEM_FILES_H
#define QVX_TLS_PEM_FILES_H

#include <optional>
#include <string>
#include <string_view>

namespace qvx {

// The names of the files in the TLS share directory, and their set-aside names.
inline constexpr char kCertificateName[] = "cert.pem";
inline constexpr char kKeyName[] = "file.pem";
inline constexpr char kCertificateAsideName[] = "certmm.pem";
inline constexpr char kKeyAsideName[] = "filemm.pem";

std::string CertificatePath();
std::string KeyPath();

/// Returns the content of a file; nothing when it cannot be read whole or exceeds 1 MiB, which no
/// pair does.
std::optional<std::string> ReadPemFile(const std::string& path);

/// Removes certificate and key. A failure is ignored.
void DeletePair();

/// The result of setting a file aside.
struct Aside {
  bool was_copied;  ///< the copy command ran
  bool is_kept;     ///< a whole copy has the set-aside name, or there was nothing to keep
};

/// Copy the certificate or the key to its set-aside name with OSCopyFile. Where the copy is not
/// whole, the file is linked to that name or moved there, and then keeps its owner and mode.
Aside SetCertificateAside();
Aside SetKeyAside();

/// The files of a new pair that took their places.
struct StoredPair {
  bool certificate;
  bool key;
};

/// Returns whether a new pair would take its places, as far as that can be told without making
/// anything.
bool ForeseeStore();

/// Writes a new pair. When either file could not be written, neither takes its place. When a
/// directory has the name of the key, only the certificate takes its place. A pipe or socket with
/// either name is removed first.
StoredPair StorePair(std::string_view certificate, std::string_view key);

}  // namespace qvx

#endif
