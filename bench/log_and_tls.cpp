// A record of the log; the check of a good pair of certificate and key, and a first one.
#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "bench/cases.h"
#include "log/ring_log.h"
#include "os/descriptor.h"
#include "tls/openssl_handles.h"
#include "tls/pair_check.h"
#include "tls/pem_files.h"
#include "tls/self_signed.h"
#ifdef QVX_BENCH_PEERS
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace qvx::bench {
namespace {

constexpr int kRing = 200000;
constexpr char kMessage[] = "Certificate was successfully secured via the file system protection.";
const std::vector<size_t> kRecords = {1, 100, 10000};

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

template <typename Record>
Prepared Records(size_t size, const Record& record) {
  LayOut();
  return {[size, record] {
    for (size_t index = 0; index < size; ++index) {
      record();
    }
  }};
}

const Addition kLogOurs({"log", "records", "ours", kRecords, [](size_t size) {
                           return Records(size, [] { LogOutput(kLogInformation, "%s", kMessage); });
                         }});

// The system calls that a record needs. The file may be moved away between two records, so it is
// opened for each. The service account may exchange it, so its directory is held, and it is looked
// at before it is opened and afterwards. Then header, record and header are read and written.
void WriteBareRecord() {
  const std::string path = QvxLogFile;
  const std::string name = path.substr(path.rfind('/') + 1);
  const Descriptor directory(
      open(path.substr(0, path.rfind('/')).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const Descriptor entry(openat(directory.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  const Descriptor file(openat(directory.get(), name.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
  for (const Descriptor* one : {&directory, &entry, &file}) {
    struct stat status = {};
    fstat(one->get(), &status);
  }
  char header[10] = "";
  [[maybe_unused]] ssize_t count = pread(file.get(), header, 9, 0);
  const off_t place = std::strtol(header, nullptr, 16) % kRing;
  const time_t now = std::time(nullptr);
  std::tm local{};
  char heading[128];
  std::strftime(heading, sizeof heading, "\n\nINFORMATION LOG (severity=0)  %a %b %d %H:%M:%S %Y\n",
                localtime_r(&now, &local));
  const std::string text = heading + std::string(kMessage);
  count = pwrite(file.get(), text.data(), text.size(), place);
  std::snprintf(header, sizeof header, "%08zX\n", static_cast<size_t>(place) + text.size());
  count = pwrite(file.get(), header, 9, 0);
}

const Addition kLogFloor({"log", "records", "floor", kRecords,
                          [](size_t size) { return Records(size, WriteBareRecord); }});

#ifdef QVX_BENCH_PEERS
// It keeps its file open, and a second file for what came before; each record is written at once.
const Addition kLogSpdlog({"log", "records", "spdlog", kRecords, [](size_t size) {
                             const auto logger = std::make_shared<spdlog::logger>(
                                 "bench", std::make_shared<spdlog::sinks::rotating_file_sink_st>(
                                              ScratchDirectory() + "/spdlog", kRing, 1));
                             logger->flush_on(spdlog::level::info);
                             return Records(size, [logger] { logger->info(kMessage); });
                           }});
#endif

StreamHandle StreamOf(const std::string& path) {
  return StreamHandle(BIO_new_file(path.c_str(), "r"));
}

int CheckBarePair() {
  const CertificateHandle certificate(
      PEM_read_bio_X509(StreamOf(CertificatePath()).get(), nullptr, nullptr, nullptr));
  const KeyHandle key(
      PEM_read_bio_PrivateKey(StreamOf(KeyPath()).get(), nullptr, nullptr, nullptr));
  return X509_check_private_key(certificate.get(), key.get());
}

template <typename Check>
Case CheckCase(const char* contender, Check check) {
  return {"certificate", "check", contender, {}, [check](size_t) {
            LayOut();
            GenerateSelfSignedCert();
            return Counted(check);
          }};
}

template <typename Make>
Case FirstCase(const char* contender, Make make) {
  return {"certificate", "first", contender, {}, [make](size_t) -> Prepared {
            LayOut();
            return {make};
          }};
}

const Addition kCertificates[] = {
    Addition(CheckCase("ours", [] { return GenerateSelfSignedCert(); })),
    Addition(CheckCase("floor", CheckBarePair)),
    Addition(FirstCase("ours", [] { GenerateSelfSignedCertAndPrivateKey("host"); })),
    Addition(FirstCase("floor", [] { const KeyHandle key(EVP_RSA_gen(2048U)); }))};

}  // namespace
}  // namespace qvx::bench
