// Making a self-signed certificate and its key on disk.
#ifndef QVX_TLS_SELF_SIGNED_H
#define QVX_TLS_SELF_SIGNED_H

#include <cstdint>
#include <string>

#include "tls/pem_files.h"

/// Makes, writes and protects the pair for `host_name`, by the rules of tls/pem_files.h. Logs each
/// file that took its place and the result of its protection. Aborts the process when the library
/// cannot make a key. Returns 1 when both files were written, else 0, also for a null name.
int32_t GenerateSelfSignedCertAndPrivateKey(const char* host_name);

/// Write the path of the certificate or the key into a buffer of kPathCapacity bytes and return the
/// buffer. A path that does not fit becomes an empty text, which opens nothing. Throw
/// std::bad_alloc.
char* GetCertificateFilePathName(char* buffer);
char* GetPrivateKeyFilePathName(char* buffer);

namespace qvx {

/// A new pair as PEM texts, also when it was not stored. They are empty when none was made.
struct GeneratedPair {
  Outcome outcome = Outcome::kFailed;
  std::string certificate;
  std::string key;
};

/// As GenerateSelfSignedCertAndPrivateKey, in the place of `old`. The outcome is kChanged when
/// another file than `old` says stood in a place. Throws std::bad_alloc.
GeneratedPair GeneratePair(const std::string& host_name, const OldPair& old);

}  // namespace qvx

#endif
