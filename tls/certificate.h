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
extern char tmkCertOuName[64];  ///< organisational unit; by it the launcher knows its certificates

/// Builds a key of `bits` bits and a certificate that is valid for `days` days, with `common_name`
/// (1 to 64 characters) and the names of the multihomed setting. An object that a parameter already
/// holds is filled instead of a new one: a key loses what it held, a certificate gains subject
/// entries and extensions. New objects are the caller's. Aborts the process when the library cannot
/// make a key. Returns 1; 0 on failure (the pointers are unchanged, an object passed in may be
/// filled in part).
int32_t makePkeyAndCert(X509** certificate, EVP_PKEY** key, int bits, int days,
                        const char* common_name);

/// Adds a subject alternative name extension with the names of `list`, which are separated by ";";
/// `list` is cut in place. A name of more than 127 characters is left out, with a record in the
/// log. A list without a usable name, or with one that the library refuses, adds none. Returns 1,
/// or 0 when `list` is null.
int32_t AddExtensionsToCert(X509* certificate, char* list);

/// Feeds the time and at most 112 bytes of `text` to the library's random generator. Returns the
/// time's seconds.
time_t OsGenerateRandomSeed(const char* text);

namespace qvx {

/// The text of the extension for a list of names, and how many were too long for it.
struct AlternativeNames {
  std::string text;  ///< empty when no name is usable
  size_t left_out = 0;
};
AlternativeNames AlternativeNamesFrom(std::string_view list);

/// What a pair is built from.
struct CertificateRequest {
  std::string common_name;
  AlternativeNames names;
  time_t now;  ///< the start of the validity, and the serial number
  int bits;
  int days;
};

/// The request for a pair of this machine and this moment: seeds the random generator and reads the
/// multihomed setting.
CertificateRequest RequestNow(const char* common_name, int bits, int days);

/// A key and its certificate; what could not be made is null.
struct Pair {
  KeyHandle key;
  CertificateHandle certificate;
};
Pair Build(const CertificateRequest& request);

/// Tells the log of the names that are too long for a certificate.
void LogNamesLeftOut(const AlternativeNames& names);

/// Seconds from `now` to the end of a validity of `days` days, which is never later than 2037-12-15
/// 05:49:52 UTC.
int64_t ValiditySeconds(int64_t now, int days);

/// The seed for a time and a text: the 16 bytes of the time record (seconds, milliseconds, and
/// zone, daylight flag and padding, which are 0), rotated by the milliseconds, then at most 112
/// bytes of `text`.
std::string RandomSeedRecord(const timespec& time, std::string_view text);

}  // namespace qvx

#endif
