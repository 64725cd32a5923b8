#include "tls/certificate_details.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tls/openssl_handles.h"
#include "tls/pem_files.h"
#include "tls/pem_objects.h"

namespace qvx {

namespace {

using NamesHandle = std::unique_ptr<GENERAL_NAMES, OpensslDeleter<GENERAL_NAMES_free>>;

std::string TextOf(const ASN1_STRING* text) {
  const auto* bytes = reinterpret_cast<const char*>(ASN1_STRING_get0_data(text));
  return {bytes, static_cast<size_t>(ASN1_STRING_length(text))};
}

/// Returns the first entry of a kind; an empty text when there is none.
std::string EntryOf(const X509_NAME* name, int kind) {
  const int place = X509_NAME_get_index_by_NID(name, kind, -1);
  return place < 0 ? "" : TextOf(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, place)));
}

std::string LineOf(const X509_NAME* name) {
  return TextBy(
      [name](BIO* stream) { return X509_NAME_print_ex(stream, name, 0, XN_FLAG_ONELINE) >= 0; });
}

time_t SecondsOf(const ASN1_TIME* time) {
  std::tm parts{};
  return ASN1_TIME_to_tm(time, &parts) == 1 ? timegm(&parts) : 0;
}

/// Returns an empty text for bytes that are no address.
std::string AddressOf(const std::string& bytes) {
  const bool is_short = bytes.size() == sizeof(in_addr);
  char text[INET6_ADDRSTRLEN];
  const bool is_address =
      (is_short || bytes.size() == sizeof(in6_addr)) &&
      inet_ntop(is_short ? AF_INET : AF_INET6, bytes.data(), text, sizeof text) != nullptr;
  return is_address ? text : "";
}

std::vector<std::string> NamesOf(const X509* certificate) {
  const NamesHandle names(static_cast<GENERAL_NAMES*>(
      X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
  std::vector<std::string> texts;
  for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
    const GENERAL_NAME* name = sk_GENERAL_NAME_value(names.get(), i);
    if (name->type == GEN_DNS) {
      texts.push_back(TextOf(name->d.dNSName));
    } else if (name->type == GEN_IPADD) {
      texts.push_back(AddressOf(TextOf(name->d.iPAddress)));
    }
  }
  return texts;
}

std::string KindOf(const EVP_PKEY* key) {
  const char* name = key == nullptr ? nullptr : EVP_PKEY_get0_type_name(key);
  return name == nullptr ? "" : name;
}

std::string FingerprintOf(const X509* certificate) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  std::string text;
  if (X509_digest(certificate, EVP_sha256(), digest, &size) == 1) {
    for (unsigned int i = 0; i < size; ++i) {
      char byte[4];
      std::snprintf(byte, sizeof byte, ":%02X", digest[i]);
      text.append(byte + (i == 0 ? 1 : 0));
    }
  }
  return text;
}

}  // namespace

std::optional<CertificateDetails> ReadCertificateDetails() {
  const ErrorQueueKeeper queue;
  const CertificateHandle certificate = CertificateFrom(ReadPemFile(CertificatePath()));
  if (!certificate) {
    return std::nullopt;
  }
  const X509_NAME* subject = X509_get_subject_name(certificate.get());
  const X509_NAME* issuer = X509_get_issuer_name(certificate.get());
  return CertificateDetails{EntryOf(subject, NID_commonName),
                            LineOf(issuer),
                            IsOurs(certificate.get()),
                            SecondsOf(X509_get0_notBefore(certificate.get())),
                            SecondsOf(X509_get0_notAfter(certificate.get())),
                            NamesOf(certificate.get()),
                            KindOf(X509_get0_pubkey(certificate.get())),
                            EVP_PKEY_get_bits(X509_get0_pubkey(certificate.get())),
                            FingerprintOf(certificate.get())};
}

bool ClientsFindHost(const std::string& host_name) {
  const ErrorQueueKeeper queue;
  const CertificateHandle certificate = CertificateFrom(ReadPemFile(CertificatePath()));
  return certificate && X509_check_host(certificate.get(), host_name.data(), host_name.size(),
                                        X509_CHECK_FLAG_NEVER_CHECK_SUBJECT, nullptr) == 1;
}

}  // namespace qvx
