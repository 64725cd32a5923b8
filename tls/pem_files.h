// The certificate and the key file: reading, setting aside and storing them.
//
// What is replaced is the name in the TLS share directory, never what a link leads to. An old file
// is replaced only when it stands whole under its set-aside name; the files of a new pair are both
// finished beside their places before either takes it. Only the account reads a new key, and root
// alone, or the account where it could read the old key anyway, a copy of an old one.
#ifndef QVX_TLS_PEM_FILES_H
#define QVX_TLS_PEM_FILES_H

#include <optional>
#include <string>
#include <string_view>

namespace qvx {

// The names of the files in the TLS share directory, as they are and set aside.
inline constexpr char kCertificateName[] = "cert.pem";
inline constexpr char kKeyName[] = "file.pem";
inline constexpr char kCertificateAsideName[] = "certmm.pem";
inline constexpr char kKeyAsideName[] = "filemm.pem";

std::string CertificatePath();
std::string KeyPath();

/// The content of a file; nothing when it cannot be read whole or is larger than any pair (1 MiB).
std::optional<std::string> ReadPemFile(const std::string& path);

/// Removes certificate and key; a failure is ignored.
void DeletePair();

/// What became of a file that was to be set aside.
struct Aside {
  bool was_copied;  ///< the copy command ran
  bool is_kept;     ///< it stands whole under the other name, or there was nothing to keep
};

/// Copy the certificate or the key to its set-aside name through OSCopyFile. What that did not
/// bring about is done with a link to the file, or by moving it.
Aside SetCertificateAside();
Aside SetKeyAside();

/// Which files of a new pair took their places.
struct StoredPair {
  bool certificate;
  bool key;
};

/// Writes a new pair. Unless both files could be written, neither takes its place; a directory in
/// the place of the key keeps only the key out. A pipe or socket makes way.
StoredPair StorePair(std::string_view certificate, std::string_view key);

}  // namespace qvx

#endif
