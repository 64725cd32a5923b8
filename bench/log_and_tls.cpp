// A record of the log; the check of a good pair of certificate and key, and a first one.
#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "bench/cases.h"
#include "log/ring_log.h"
#include "tls/openssl_handles.h"
#include "tls/pair_check.h"
#include "tls/pem_files.h"
#include "tls/self_signed.h"

namespace qvx::bench {
namespace {

constexpr int kRing = 200000;
constexpr char kMessage[] = "Certificate was successfully secured via the file system protection.";

/// Makes an installation in the scratch directory and leads every operation of this process there.
void LayOut() {
  const std::string& base = ScratchDirectory();
  for (const char* directory : {"/bin", "/conf", "/logs", "/sbin", "/webapp", "/tls"}) {
    std::filesystem::create_directories(base + directory);
  }
  for (const char* name : {"SYSMGTZX_BASE_DIR", "SYSMGTZX_WRITE_DIR", "SYSMGTZX_LOG_DIR"}) {
    setenv(name, base.c_str(), 1);
  }
  setenv("SSL_SHARE_BASE_DIR", (base + "/tls").c_str(), 1);
  SetupLogsAndDebug(nullptr);
  LogOutput(kLogInformation, "%s", kMessage);  // the file is made, and protected
}

Prepared LogOurs(size_t size) {
  LayOut();
  return {.work =
              [size] {
                for (size_t record = 0; record < size; ++record) {
                  LogOutput(kLogInformation, "%s", kMessage);
                }
              },
          .result = [] { return std::string(); }};
}

// What a record cannot do without, as long as the file may be moved away between two of them: the
// file is opened, its header read, the record written, the header written, the file closed.
Prepared LogFloor(size_t size) {
  LayOut();
  return {.work =
              [size] {
                const std::string record =
                    "\n\nINFORMATION LOG (severity=0)  Thu Jan 01 00:00:00 1970\n" +
                    std::string(kMessage);
                std::array<char, 9> header{};
                for (size_t index = 0; index < size; ++index) {
                  const int file = open(QvxLogFile, O_RDWR | O_CLOEXEC);
                  const ssize_t read = pread(file, header.data(), header.size(), 0);
                  const off_t place = std::strtol(header.data(), nullptr, 16) % kRing;
                  const ssize_t written = pwrite(file, record.data(), record.size(), place);
                  const ssize_t ended = pwrite(file, header.data(), header.size(), 0);
                  if (read + written + ended < 0 || close(file) != 0) {
                    return;
                  }
                }
              },
          .result = [] { return std::string(); }};
}

const std::vector<size_t> kRecords = {1, 100, 10000};
const Addition kLogOurs({"log", "records", "ours", kRecords, LogOurs});
const Addition kLogFloor({"log", "records", "floor", kRecords, LogFloor});

Prepared CheckOurs(size_t) {
  LayOut();
  GenerateSelfSignedCert();
  const auto result = std::make_shared<int>(0);
  return {.work = [result] { *result = GenerateSelfSignedCert(); },
          .result = [result] { return std::to_string(*result); }};
}

StreamHandle StreamOf(const std::string& path) {
  return StreamHandle(BIO_new_file(path.c_str(), "r"));
}

Prepared CheckFloor(size_t) {
  LayOut();
  GenerateSelfSignedCert();
  const auto result = std::make_shared<int>(0);
  return {.work =
              [result] {
                const CertificateHandle certificate(PEM_read_bio_X509(
                    StreamOf(CertificatePath()).get(), nullptr, nullptr, nullptr));
                const KeyHandle key(
                    PEM_read_bio_PrivateKey(StreamOf(KeyPath()).get(), nullptr, nullptr, nullptr));
                *result = X509_check_private_key(certificate.get(), key.get());
              },
          .result = [result] { return std::to_string(*result); }};
}

Prepared FirstOurs(size_t) {
  LayOut();
  const auto result = std::make_shared<int>(0);
  return {.work = [result] { *result = GenerateSelfSignedCertAndPrivateKey("host"); },
          .result = [result] { return std::to_string(*result); }};
}

Prepared FirstFloor(size_t bits) {
  return {.work = [bits] { const KeyHandle key(EVP_RSA_gen(bits)); },
          .result = [] { return std::string(); }};
}

const Addition kCheckOurs({"certificate", "check", "ours", {}, CheckOurs});
const Addition kCheckFloor({"certificate", "check", "floor", {}, CheckFloor});
const Addition kFirstOurs({"certificate", "first", "ours", {}, FirstOurs});
const Addition kFirstFloor({"certificate", "first", "floor", {}, [](size_t) {
                              return FirstFloor(2048);
                            }});

}  // namespace
}  // namespace qvx::bench
