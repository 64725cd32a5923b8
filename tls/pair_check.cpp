#include "tls/pair_check.h"

#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "log/ring_log.h"
#include "os/directories.h"
#include "os/file_replacement.h"
#include "os/files.h"
#include "os/host.h"
#include "os/protection.h"
#include "tls/openssl_handles.h"
#include "tls/pem_files.h"
#include "tls/pem_objects.h"
#include "tls/self_signed.h"

namespace {

constexpr size_t kHostNameCapacity = 64;
constexpr int kAttempts = 2;  // the second checks the pair that the first one made

/// The check is only whether the files load and match. At level 0 the library refuses no installed
/// certificate for its key size or digest. The daemon's configuration decides about these.
constexpr int kNoSecurityLevel = 0;
constexpr char kCipherList[] = "ALL";

constexpr char kCertificateSetAside[] =
    R"(The server certificate did not match the private key and has been regenerated.
The problematic certificate was renamed %s and is in the "..\zx\sslshare" subdirectory.
)";
constexpr char kKeySetAside[] =
    R"(The private key did not match the server certificate and has been regenerated.
The problematic private key was renamed %s and is in the "..\zx\sslshare"  subdirectory.
)";

constexpr char kNotKept[] =
    "The server certificate and private key cannot be used, but could not be kept under another "
    "name, so they were not "
    "replaced.\n";

/// Returns null when the library cannot make a context, and prints the text for it; or when the
/// library refuses the cipher list.
qvx::ContextHandle MakeContext() {
  qvx::ContextHandle context(SSL_CTX_new(TLS_server_method()));
  if (!context) {
    std::puts("SSL_CTX_new() failure");
    return {};
  }
  SSL_CTX_set_options(context.get(), SSL_OP_ALL);
  SSL_CTX_set_security_level(context.get(), kNoSecurityLevel);
  return SSL_CTX_set_cipher_list(context.get(), kCipherList) == 1 ? std::move(context)
                                                                  : qvx::ContextHandle();
}

qvx::CertificateHandle ReadCertificate() {
  const std::optional<std::string> text = qvx::ReadPemFile(qvx::CertificatePath());
  return text ? qvx::CertificateFrom(*text) : nullptr;
}

/// Returns whether both files, as far as they exist, are kept. Only then may they be replaced.
bool SetPairAside() {
  const qvx::Aside certificate = qvx::SetCertificateAside();
  if (certificate.was_copied) {
    LogOutput(kLogError, kCertificateSetAside, qvx::kCertificateAsideName);
  }
  const qvx::Aside key = qvx::SetKeyAside();
  if (key.was_copied) {
    LogOutput(kLogError, kKeySetAside, qvx::kKeyAsideName);
  }
  if (certificate.is_kept && key.is_kept) {
    return true;
  }
  LogOutput(kLogError, "%s", kNotKept);
  return false;
}

/// Examines whose certificate it is. A certificate for another host is logged.
void ExamineNames(const X509* certificate, const char* host_name, qvx::PairFacts& facts) {
  facts.names_host = qvx::NamesHost(certificate, host_name);
  if (facts.names_host) {
    return;
  }
  facts.is_ours = qvx::IsOurs(certificate);
  LogOutput(kLogError,
            "This certificate has a Common Name (CN) that doesn't match the server's name\n");
}

/// Examines whether the key at `path` loads and belongs to the certificate in the context.
void ExamineKey(SSL_CTX* context, const std::string& path, qvx::PairFacts& facts) {
  const std::optional<std::string> text = qvx::ReadPemFile(path);
  const qvx::KeyHandle key = text ? qvx::KeyFrom(*text) : nullptr;
  facts.key_loads = key != nullptr;
  if (!facts.key_loads) {
    LogOutput(kLogError, "Unable to load private key during SSL Server Initialization\n");
    return;
  }
  // The library already refuses a key that does not belong to the certificate when the key is set.
  facts.they_match =
      SSL_CTX_use_PrivateKey(context, key.get()) == 1 && SSL_CTX_check_private_key(context) == 1;
  if (!facts.they_match) {
    LogOutput(
        kLogError,
        "The SSL certificate and private key did not match during SSL Server Initialization\n");
  }
}

/// Examines the facts one after the other, up to the first that decides, which is logged. The
/// certificate is read once, so that every decision is about the same one.
qvx::PairFacts Examine(SSL_CTX* context, const std::string& host_name) {
  qvx::PairFacts facts;
  const qvx::CertificateHandle certificate = ReadCertificate();
  facts.certificate_loads = certificate && SSL_CTX_use_certificate(context, certificate.get()) == 1;
  if (!facts.certificate_loads) {
    LogOutput(kLogInformation,
              "Unable to load certificate file during SSL Server Initialization\n");
    return facts;
  }
  const std::string key_path = qvx::KeyPath();
  const int token = OSPrepOpen(key_path.c_str());
  ExamineKey(context, key_path, facts);
  OSUndoPrepOpen(key_path.c_str(), token);
  if (facts.they_match) {
    ExamineNames(certificate.get(), host_name.c_str(), facts);
  }
  return facts;
}

int32_t CheckAndReplace() {
  const std::string host_name = qvx::PairHostName();
  const qvx::ContextHandle context = MakeContext();
  if (!context) {
    return 0;
  }
  qvx::RemoveLeftovers(qvx::CertificatePath());
  int32_t result = 0;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const qvx::PairFate fate = qvx::FateOf(Examine(context.get(), host_name));
    if (fate == qvx::PairFate::kKeep) {
      return 1;
    }
    const bool may_replace = fate == qvx::PairFate::kReplace || SetPairAside();
    result = may_replace ? GenerateSelfSignedCertAndPrivateKey(host_name.c_str()) : 0;
  }
  return result;
}

}  // namespace

int32_t SSLServerInit() {
  OSInitializeSocket();
  SSLInitialization();
  CreatePHPSessionDir();
  return GenerateSelfSignedCert();
}

int32_t SSLInitialization() {
  const qvx::ErrorQueueKeeper queue;
  if (OPENSSL_init_ssl(0, nullptr) != 1) {
    return 0;
  }
  OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
  return 1;
}

int32_t CreatePHPSessionDir() {
  std::string path = qvx::InstallationPath("/session");
  OsMkdir(path.c_str());
  OsProtectFile(path.c_str());
  path += "/php";
  OsMkdir(path.c_str());
  return OsProtectFile(path.c_str());
}

int32_t GenerateSelfSignedCert() {
  const qvx::ErrorQueueKeeper queue;
  try {
    return CheckAndReplace();
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

int32_t CheckCertValidity(const char* host_name) {
  const qvx::ErrorQueueKeeper queue;
  try {
    const qvx::CertificateHandle certificate = ReadCertificate();
    if (!certificate) {
      return 0;
    }
    qvx::PairFacts facts{.certificate_loads = true, .key_loads = true, .they_match = true};
    ExamineNames(certificate.get(), host_name, facts);
    return qvx::FateOf(facts) == qvx::PairFate::kKeep ? 1 : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

namespace qvx {

std::string PairHostName() {
  char name[kHostNameCapacity] = {};
  if (OSGetHostName(name, sizeof name) != 0) {
    LogOutput(kLogError, "Unable to get the hostname for the server\n");
    return {};
  }
  return name;
}

std::optional<PairFacts> ExaminePair() {
  const ErrorQueueKeeper queue;
  const std::string host_name = PairHostName();
  const ContextHandle context = MakeContext();
  return context ? std::optional(Examine(context.get(), host_name)) : std::nullopt;
}

PairFate FateOf(const PairFacts& facts) {
  if (!facts.certificate_loads || !facts.key_loads || !facts.they_match) {
    return PairFate::kSetAside;
  }
  return facts.names_host || !facts.is_ours ? PairFate::kKeep : PairFate::kReplace;
}

}  // namespace qvx
