#include "tls/served_pair.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include "tls/openssl_handles.h"
#include "tls/pem_files.h"
#include "tls/pem_objects.h"

namespace qvx {

namespace {

/// Adds the certificates behind the first one. The texts end where no further object begins.
bool AddChain(SSL_CTX* context, BIO* stream) {
  while (CertificateHandle next{PEM_read_bio_X509(stream, nullptr, RefusePassPhrase, nullptr)}) {
    if (SSL_CTX_add0_chain_cert(context, next.get()) != 1) {
      return false;
    }
    static_cast<void>(next.release());
  }
  return ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
}

bool LoadsChain(SSL_CTX* context, const std::string& text) {
  const StreamHandle stream(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  const CertificateHandle first(
      stream ? PEM_read_bio_X509_AUX(stream.get(), nullptr, RefusePassPhrase, nullptr) : nullptr);
  return first && SSL_CTX_use_certificate(context, first.get()) == 1 &&
         AddChain(context, stream.get());
}

}  // namespace

std::optional<std::string> WhyServerRefusesPair() {
  const ErrorQueueKeeper queue;
  const std::optional<std::string> certificate = ReadPemFile(CertificatePath());
  const std::optional<std::string> key = ReadPemFile(KeyPath());
  const ContextHandle context(SSL_CTX_new(TLS_server_method()));
  if (!certificate || !key || !context) {
    return "it cannot be read";
  }
  const KeyHandle loaded = KeyFrom(key);
  ERR_clear_error();
  if (LoadsChain(context.get(), *certificate) && loaded &&
      SSL_CTX_use_PrivateKey(context.get(), loaded.get()) == 1 &&
      SSL_CTX_check_private_key(context.get()) == 1) {
    return std::nullopt;
  }
  const char* reason = ERR_reason_error_string(ERR_peek_last_error());
  return reason == nullptr ? "the key or the chain does not load" : reason;
}

}  // namespace qvx
