#include "tls/self_signed.h"

#include <openssl/pem.h>

#include <cstdlib>
#include <new>
#include <string>

#include "log/ring_log.h"
#include "os/directories.h"
#include "os/protection.h"
#include "tls/certificate.h"
#include "tls/openssl_handles.h"
#include "tls/pem_files.h"

namespace qvx {

namespace {

constexpr int kKeyBits = 2048;
constexpr int kDays = 3652;

char* CopyPath(const std::string& path, char* buffer) {
  const bool fits = path.size() < kPathCapacity;
  buffer[fits ? path.copy(buffer, path.size()) : 0] = '\0';
  return buffer;
}

void Protect(const std::string& path, const char* subject) {
  if (OsProtectFile(path.c_str()) == 1) {
    LogOutput(kLogInformation, "%s was successfully secured via the file system protection.\n",
              subject);
    return;
  }
  LogOutput(kLogError, "%s could not be successfully secured via the file system protection.\n",
            subject);
}

/// Stores the pair and logs the files that took their places.
Outcome Store(const GeneratedPair& pair, const OldPair& old) {
  const StoredPair stored = StorePair(pair.certificate, pair.key, old);
  if (stored.certificate == Outcome::kDone) {
    LogOutput(kLogInformation, "A new self signed certificate was generated.\n");
    Protect(CertificatePath(), "Certificate");
  }
  if (stored.key == Outcome::kDone) {
    LogOutput(kLogInformation, "A new private key was generated.\n");
    Protect(KeyPath(), "Private key");
  }
  return stored.key;
}

}  // namespace

GeneratedPair GeneratePair(const std::string& host_name, const OldPair& old) {
  const ErrorQueueKeeper queue;
  const Pair pair = Build(RequestNow(host_name.c_str(), kKeyBits, kDays));
  if (!pair.key) {
    std::abort();
  }
  GeneratedPair made;
  if (!pair.certificate) {
    return made;
  }
  made.certificate =
      TextBy([&](BIO* stream) { return PEM_write_bio_X509(stream, pair.certificate.get()) == 1; });
  made.key = TextBy([&](BIO* stream) {
    return PEM_write_bio_PrivateKey(stream, pair.key.get(), nullptr, nullptr, 0, nullptr,
                                    nullptr) == 1;
  });
  if (!made.certificate.empty() && !made.key.empty()) {
    made.outcome = Store(made, old);
  }
  return made;
}

}  // namespace qvx

int32_t GenerateSelfSignedCertAndPrivateKey(const char* host_name) {
  if (host_name == nullptr) {
    return 0;
  }
  try {
    const qvx::GeneratedPair pair = qvx::GeneratePair(host_name, qvx::LookAtPair());
    return pair.outcome == qvx::Outcome::kDone ? 1 : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

char* GetCertificateFilePathName(char* buffer) {
  return qvx::CopyPath(qvx::CertificatePath(), buffer);
}

char* GetPrivateKeyFilePathName(char* buffer) {
  return qvx::CopyPath(qvx::KeyPath(), buffer);
}
