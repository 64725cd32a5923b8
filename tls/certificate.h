// A self-signed certificate and its key, in memory.
#ifndef QVX_TLS_CERTIFICATE_H
#define QVX_TLS_CERTIFICATE_H

#include <openssl/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include "tls/openssl_handles.h"

extern char tmkCertOName[32];   ///< organisation of every certificate made here
extern char tmkCertOuName[64];  ///< organisational unit; marks the launcher's certificates

/// Builds a key of `bits` bits and a certificate that is valid for `days` days, with `common_name`
/// (1 to 64 characters; null fails) and the names of the multihomed setting. Where a parameter
/// already holds an object, that object is filled: a key loses its content, and a certificate gains
/// subject entries and extensions. New objects belong to the caller. Names that are too long are
/// logged, also when the certificate cannot be signed. Aborts the process when the library cannot
/// make a key. Returns 1; or 0 on failure: the pointers are then unchanged, and an object that was
/// passed in may be filled in part.
int32_t makePkeyAndCert(X509** certificate, EVP_PKEY** key, int bits, int days,
                        const char* common_name);

/// Adds a subject alternative name extension with the names of `list`, which are separated by ";".
/// Cuts `list` in place. A name of more than 127 characters is skipped, with a record in the log.
/// No extension is added when no name is usable or the library refuses one of the names. Returns 1,
/// or 0 when `list` is null. Throws std::bad_alloc.
int32_t AddExtensionsToCert(X509* certificate, char* list);

/// Feeds the time and at most 112 bytes of `text`, which may be null, to the library's random
/// generator. Returns the time in seconds. Throws std::bad_alloc.
time_t OsGenerateRandomSeed(const char* text);

namespace qvx {

/// The text of the extension for a list of names, and the number of names that are too long for it.
struct AlternativeNames {
  std::string text;  ///< empty when no name is usable
  size_t left_out = 0;
};
AlternativeNames AlternativeNamesFrom(std::string_view list);

/// Returns whether the library makes an extension from these names. It refuses all of them for one
/// bad address.
bool AreAccepted(const AlternativeNames& names);

/// The values from which a pair is built.
struct CertificateRequest {
  std::string common_name;
  AlternativeNames names;
  time_t now;  ///< the start of the validity, and the serial number
  int bits;
  int days;
};

/// Returns the request for a pair of this machine and this moment. Seeds the random generator and
/// reads the multihomed setting. Throws std::bad_alloc.
CertificateRequest RequestNow(const char* common_name, int bits, int days);

/// A key and its certificate. A part that could not be made is null.
struct Pair {
  KeyHandle key;
  CertificateHandle certificate;
};
/// Logs the names that are too long.
Pair Build(const CertificateRequest& request);

/// Returns the seconds from `now` to the end of a validity of `days` days, but never later than
/// 2037-12-15 05:49:52 UTC.
int64_t ValiditySeconds(int64_t now, int days);

/// Returns the seed for a time and a text. It begins with the 16 bytes of the time record, rotated
/// by the milliseconds: the seconds, the milliseconds, then time zone, daylight flag and padding,
/// which are 0. At most 112 bytes of `text` follow.
std::string RandomSeedRecord(const timespec& time, std::string_view text);

}  // namespace qvx

#endif
