// Generating a self-signed certificate and its key.
#ifndef QVX_TLS_SELF_SIGNED_H
#define QVX_TLS_SELF_SIGNED_H

#include <openssl/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

extern char tmkCertOName[32];  ///< organisation of every certificate made here
extern char
    tmkCertOuName[64];  ///< organisational unit; by it the launcher recognises its own certificates

/// Makes, writes and protects the pair for `host_name`, by the rules of tls/pem_files.h. The log
/// tells of each file that was made and how its protection went. Returns 1 when both files were
/// written, else 0.
int32_t GenerateSelfSignedCertAndPrivateKey(const char* host_name);

/// Builds a key of `bits` bits and a certificate that is valid for `days` days, with `common_name`
/// (1 to 64 characters). An object that a parameter already holds is filled instead of a new one: a
/// key loses what it held, a certificate gains subject entries and extensions. New objects are the
/// caller's. Aborts the process when the library cannot make a key. Returns 1; 0 on failure (the
/// pointers are unchanged, an object passed in may be filled in part).
int32_t makePkeyAndCert(X509** certificate, EVP_PKEY** key, int bits, int days,
                        const char* common_name);

/// Adds a subject alternative name extension with the names of `list`, which are separated by ";";
/// `list` is cut in place. A list without a usable name, or with one that the library refuses, adds
/// none. Returns 1, or 0 when `list` is null.
int32_t AddExtensionsToCert(X509* certificate, char* list);

/// Write the paths of the two files into a buffer of kPathCapacity bytes; return it. A path that
/// does not fit becomes an empty text, which opens nothing.
char* GetCertificateFilePathName(char* buffer);
char* GetPrivateKeyFilePathName(char* buffer);

/// Feeds the time and at most 112 bytes of `text` to the library's random generator. Returns the
/// time's seconds.
time_t OsGenerateRandomSeed(const char* text);

namespace qvx {

/// The text of the extension for a list of names; empty when no name is usable. Names of more than
/// 127 characters are left out, each with a record in the log. `list` is cut in place.
std::string AlternativeNamesText(char* list);

/// Seconds from `now` to the end of a validity of `days` days, which is never later than 2037-12-15
/// 05:49:52 UTC.
int64_t ValiditySeconds(int64_t now, int days);

/// The seed for a time and a text: the 16 bytes of the time record (seconds, milliseconds, and
/// zone, daylight flag and padding, which are 0), rotated by the milliseconds, then at most 112
/// bytes of `text`.
std::string RandomSeedRecord(const timespec& time, std::string_view text);

}  // namespace qvx

#endif
