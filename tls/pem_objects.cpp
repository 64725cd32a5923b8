#include "tls/pem_objects.h"

#include <openssl/pem.h>

#include <string_view>

#include "os/strings.h"
#include "tls/certificate.h"

namespace qvx {

namespace {

constexpr int kNameTextCapacity = 100;

template <typename Handle, typename Read>
Handle Load(const std::optional<std::string>& text, Read read) {
  const StreamHandle stream(text ? BIO_new_mem_buf(text->data(), static_cast<int>(text->size()))
                                 : nullptr);
  return Handle(stream ? read(stream.get(), nullptr, RefusePassPhrase, nullptr) : nullptr);
}

/// Returns whether the first entry of a kind, at most kNameTextCapacity - 1 bytes of it, equals
/// `expected` in any case. A missing entry does not, nor one that goes on behind a zero byte.
bool EntryEquals(const X509_NAME* name, int kind, const char* expected) {
  char text[kNameTextCapacity] = {};
  const int length = X509_NAME_get_text_by_NID(name, kind, text, sizeof text);
  return length >= 0 && static_cast<size_t>(length) == std::string_view(expected).size() &&
         stricmp(text, expected) == 0;
}

}  // namespace

CertificateHandle CertificateFrom(const std::optional<std::string>& text) {
  return Load<CertificateHandle>(text, PEM_read_bio_X509);
}

KeyHandle KeyFrom(const std::optional<std::string>& text) {
  return Load<KeyHandle>(text, PEM_read_bio_PrivateKey);
}

int RefusePassPhrase(char* /*buffer*/, int /*size*/, int /*for_writing*/, void* /*data*/) {
  return -1;
}

bool NamesHost(const X509* certificate, const char* host_name) {
  return host_name != nullptr &&
         EntryEquals(X509_get_subject_name(certificate), NID_commonName, host_name);
}

bool IsOurs(const X509* certificate) {
  return EntryEquals(X509_get_issuer_name(certificate), NID_organizationalUnitName, tmkCertOuName);
}

}  // namespace qvx
