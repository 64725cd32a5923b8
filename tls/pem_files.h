// Opening, creating and setting aside the certificate and the key file.
//
// Whatever stands in the place of a file, a start never waits for it: only a regular file, or a link to one, is read,
// and a pipe, a socket or a device makes way for a new file.
//
// No other account can read a key at any moment. A key's file is born with mode 0600, and an old one is removed first,
// because a descriptor that somebody opened earlier would see the new key. Only where the directory does not let it go
// is it kept, narrowed to mode 0600 before it is emptied.
#ifndef QVX_TLS_PEM_FILES_H
#define QVX_TLS_PEM_FILES_H

#include <string>

#include "os/files.h"

namespace qvx {

std::string CertificatePath();
std::string KeyPath();

/// Opens a file for reading; null when it cannot be opened or is no regular file.
File OpenPemFile(const std::string& path);

/// Create or empty a file for writing; null on failure. The key file's mode is 0600 until it is protected.
File CreateCertificateFile(const std::string& path);
File CreateKeyFile(const std::string& path);

/// Copy a file through OSCopyFile; the copy of a key is for its owner alone. What is neither file nor directory is not
/// copied. Return true when the copy command ran.
bool SetCertificateAside(const std::string& path, const std::string& copy);
bool SetKeyAside(const std::string& path, const std::string& copy);

}  // namespace qvx

#endif
