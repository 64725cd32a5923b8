#include "tls/self_signed.h"

#include <openssl/pem.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "log/ring_log.h"
#include "os/directories.h"
#include "os/files.h"
#include "tls/openssl_handles.h"
#include "tls/pem_files.h"

char tmkCertOName[32] = "Brennick-Talvar Company";
char tmkCertOuName[64] = "Brennick-Talvar Network Management Software (QVX)";

namespace {

constexpr int kKeyBits = 2048;
constexpr int kDays = 3652;

char* CopyPath(const std::string& path, char* buffer) {
  const bool fits = path.size() < kPathCapacity;
  buffer[fits ? path.copy(buffer, path.size()) : 0] = '\0';
  return buffer;
}

/// Lets `write` fill a new file and closes it. A file that is not whole is removed: half a key is worse than none.
template <typename Write>
bool WriteFile(qvx::File file, const std::string& path, Write write) {
  if (!file) {
    return false;
  }
  const bool whole = write(file.get()) == 1 && std::fflush(file.get()) == 0;
  file.reset();
  if (!whole) {
    unlink(path.c_str());
  }
  return whole;
}

void Protect(const std::string& path, const char* subject) {
  if (OsProtectFile(path.c_str()) == 1) {
    LogOutput(kLogInformation, "%s was successfully secured via the file system protection.\n", subject);
    return;
  }
  LogOutput(kLogError, "%s could not be successfully secured via the file system protection.\n", subject);
}

bool StoreCertificate(const X509* certificate) {
  const std::string path = qvx::CertificatePath();
  if (!WriteFile(qvx::CreateCertificateFile(path), path,
                 [&](std::FILE* file) { return PEM_write_X509(file, certificate); })) {
    return false;
  }
  LogOutput(kLogInformation, "A new self signed certificate was generated.\n");
  Protect(path, "Certificate");
  return true;
}

bool StoreKey(const EVP_PKEY* key) {
  const std::string path = qvx::KeyPath();
  if (!WriteFile(qvx::CreateKeyFile(path), path, [&](std::FILE* file) {
        return PEM_write_PrivateKey(file, key, nullptr, nullptr, 0, nullptr, nullptr);
      })) {
    return false;
  }
  LogOutput(kLogInformation, "A new private key was generated.\n");
  Protect(path, "Private key");
  return true;
}

}  // namespace

int32_t GenerateSelfSignedCertAndPrivateKey(const char* host_name) {
  const qvx::ErrorQueueKeeper queue;
  X509* new_certificate = nullptr;
  EVP_PKEY* new_key = nullptr;
  if (makePkeyAndCert(&new_certificate, &new_key, kKeyBits, kDays, host_name) != 1) {
    return 0;
  }
  const qvx::CertificateHandle certificate(new_certificate);
  const qvx::KeyHandle key(new_key);
  return StoreCertificate(certificate.get()) && StoreKey(key.get()) ? 1 : 0;
}

char* GetCertificateFilePathName(char* buffer) {
  return CopyPath(qvx::CertificatePath(), buffer);
}

char* GetPrivateKeyFilePathName(char* buffer) {
  return CopyPath(qvx::KeyPath(), buffer);
}
