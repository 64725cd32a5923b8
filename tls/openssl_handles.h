// Owner types for the TLS library's objects and its error queue.
#ifndef QVX_TLS_OPENSSL_HANDLES_H
#define QVX_TLS_OPENSSL_HANDLES_H

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>

namespace qvx {

template <auto Free>
struct OpensslDeleter {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

using KeyHandle = std::unique_ptr<EVP_PKEY, OpensslDeleter<EVP_PKEY_free>>;
using KeyContextHandle = std::unique_ptr<EVP_PKEY_CTX, OpensslDeleter<EVP_PKEY_CTX_free>>;
using CertificateHandle = std::unique_ptr<X509, OpensslDeleter<X509_free>>;
using ExtensionHandle = std::unique_ptr<X509_EXTENSION, OpensslDeleter<X509_EXTENSION_free>>;
using StreamHandle = std::unique_ptr<BIO, OpensslDeleter<BIO_free>>;
using ContextHandle = std::unique_ptr<SSL_CTX, OpensslDeleter<SSL_CTX_free>>;

/// Returns what `write` writes to a stream; an empty text when it could not.
template <typename Write>
std::string TextBy(Write write) {
  const StreamHandle stream(BIO_new(BIO_s_mem()));
  if (!stream || !write(stream.get())) {
    return {};
  }
  char* text = nullptr;
  const long size = BIO_get_mem_data(stream.get(), &text);
  return {text, static_cast<size_t>(size)};
}

/// Empties the library's error queue at the end of the scope, so that a failure is not taken for a
/// later one.
class ErrorQueueKeeper {
 public:
  ErrorQueueKeeper() = default;
  ~ErrorQueueKeeper() { ERR_clear_error(); }
  ErrorQueueKeeper(const ErrorQueueKeeper&) = delete;
  ErrorQueueKeeper& operator=(const ErrorQueueKeeper&) = delete;
  ErrorQueueKeeper(ErrorQueueKeeper&&) = delete;
  ErrorQueueKeeper& operator=(ErrorQueueKeeper&&) = delete;
};

}  // namespace qvx

#endif
