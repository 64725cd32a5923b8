// What the certificate on disk says about itself, for programs that show it.
#ifndef QVX_TLS_CERTIFICATE_DETAILS_H
#define QVX_TLS_CERTIFICATE_DETAILS_H

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace qvx {

struct CertificateDetails {
  std::string common_name;         ///< of the subject; empty when there is none
  std::string issuer;              ///< in one line
  bool is_ours;                    ///< the launcher issued it
  time_t begin;                    ///< of the validity
  time_t end;                      ///< of the validity
  std::vector<std::string> names;  ///< alternative names: host names and addresses
  std::string key_kind;            ///< "RSA" or "EC", as the library names it
  int key_bits;
  std::string fingerprint;  ///< SHA-256, in hexadecimal digits with ":" between the bytes
};

/// Returns whether clients accept the certificate in the TLS share directory for this host name:
/// they look at the alternative names alone. Returns false when it does not load.
bool ClientsFindHost(const std::string& host_name);

/// Returns the details of the certificate in the TLS share directory. Returns nothing when it does
/// not load. Throws std::bad_alloc.
std::optional<CertificateDetails> ReadCertificateDetails();

}  // namespace qvx

#endif
