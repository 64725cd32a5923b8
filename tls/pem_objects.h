// Certificates and keys from PEM texts, and whose a certificate is.
//
// An encrypted object counts as one that does not load. Nothing ever waits at a prompt.
#ifndef QVX_TLS_PEM_OBJECTS_H
#define QVX_TLS_PEM_OBJECTS_H

#include <optional>
#include <string>

#include "tls/openssl_handles.h"

namespace qvx {

/// Return the first certificate or key of a PEM text; null when there is none that loads, or no
/// text.
CertificateHandle CertificateFrom(const std::optional<std::string>& text);
KeyHandle KeyFrom(const std::optional<std::string>& text);

/// Refuses the pass phrase that the library asks for (pem_password_cb(3)).
int RefusePassPhrase(char* buffer, int size, int for_writing, void* data);

/// Returns whether the common name of the subject is `host_name`, in any case. A null name is
/// nobody's.
bool NamesHost(const X509* certificate, const char* host_name);

/// Returns whether the launcher issued the certificate.
bool IsOurs(const X509* certificate);

}  // namespace qvx

#endif
