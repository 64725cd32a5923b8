// A healthy installation on a machine of its own, to be spoilt.
#ifndef QVX_TESTS_COMPANION_PREPARED_INSTALLATION_H
#define QVX_TESTS_COMPANION_PREPARED_INSTALLATION_H

#include <openssl/pem.h>

#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "tests/settings/fresh_machine.h"
#include "tls/certificate.h"
#include "tls/pair_check.h"

namespace qvx::test {

/// A certificate and its key as PEM texts.
struct PemPair {
  std::string certificate, key;
};

inline constexpr time_t kLatestEnd = 2144468992;
inline constexpr int kDays = 9000;
inline constexpr time_t kSecondsPerDay = 86400;

/// A pair of the launcher's own for a host, valid for kDays up to `end`. `also` is a further name.
inline PemPair MakePair(const std::string& host, time_t end = kLatestEnd, int bits = 2048,
                        const std::string& also = "") {
  const std::string names = "DNS: host1, DNS: " + (also.empty() ? host : also);
  const Pair pair = Build({host, {names, 0}, end - kDays * kSecondsPerDay, bits, kDays});
  const StreamHandle stream(BIO_new(BIO_s_mem()));
  const auto written = [&] {
    char* text = nullptr;
    const long size = BIO_get_mem_data(stream.get(), &text);
    const std::string pem(text, static_cast<size_t>(size));
    BIO_reset(stream.get());
    return pem;
  };
  PEM_write_bio_X509(stream.get(), pair.certificate.get());
  const std::string certificate = written();
  PEM_write_bio_PrivateKey(stream.get(), pair.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  return {certificate, written()};
}

/// The pairs that installations are given.
struct PairStock {
  PemPair ours;            ///< the launcher's own, for this host
  PemPair ours_elsewhere;  ///< the launcher's own, for another host
  PemPair foreign;         ///< someone else's, for another host
};

/// A pair of someone else's.
inline PemPair MakeForeignPair(const std::string& host, const std::string& also = "") {
  const std::string unit = tmkCertOuName;
  std::strcpy(tmkCertOuName, "Somebody else");
  const PemPair pair = MakePair(host, kLatestEnd, 2048, also);
  std::strcpy(tmkCertOuName, unit.c_str());
  return pair;
}

/// Made once in a process. A test that forks calls it before.
inline const PairStock& Pairs() {
  static const PairStock pairs{MakePair(PairHostName()), MakePair("elsewhere"),
                               MakeForeignPair("elsewhere")};
  return pairs;
}

/// Pairs that a start keeps, whatever the web server or its clients say: with a chain that is cut,
/// with short keys, without the host among the further names, ended, not valid yet; and a good one.
inline const std::vector<PemPair>& KeptPairs() {
  static const std::vector<PemPair> pairs = [] {
    const std::string host = PairHostName();
    const time_t now = std::time(nullptr);
    PemPair cut = Pairs().ours;
    cut.certificate += cut.certificate.substr(0, 400);
    return std::vector{cut,
                       MakePair(host, kLatestEnd, 512),
                       MakePair(host, kLatestEnd, 1024),
                       MakePair(host, kLatestEnd, 2048, "elsewhere"),
                       MakePair(host, now - 10),
                       MakePair(host, now + (kDays + 1) * kSecondsPerDay),
                       MakeForeignPair("elsewhere", host)};
  }();
  return pairs;
}

/// A native program with other bytes at an offset.
inline std::string ProgramWith(size_t offset, const std::string& bytes) {
  return Contents("/bin/true").value_or("").replace(offset, bytes.size(), bytes);
}

inline void PutProgram(const std::filesystem::path& path, std::string_view text = "#!/bin/sh\n") {
  WriteText(path, text);
  std::filesystem::permissions(path, std::filesystem::perms(0755));
}

inline void PutServiceFile(const std::filesystem::path& path, std::string_view text) {
  WriteText(path, text);
  const std::string file = path;
  EXPECT_EQ(std::system(("chmod 660 " + file + "; chown zxqvx:zxqvx " + file).c_str()), 0);
}

/// The daemon, the rotation program, a pair for this host and a document with `elements`. On a
/// fresh machine; its addresses are 127.0.0.1 and 10.1.2.3.
class PreparedInstallation {
 public:
  explicit PreparedInstallation(const std::string& elements, const PemPair& pair = Pairs().ours) {
    RecordIpOutput("1: lo: <UP>\n    inet 127.0.0.1/8\n2: eth0: <UP>\n    inet 10.1.2.3/8\n");
    PutProgram(base() / "sbin/zxqvxd");
    PutProgram(base() / "bin/rotatelogs");
    WriteText(base() / "conf/mime.types", "");
    PutServiceFile(tls() / "cert.pem", pair.certificate);
    PutServiceFile(tls() / "file.pem", pair.key);
    PutServiceFile(settings(), "<velquarn>\n" + elements + "</velquarn>");
  }

  std::filesystem::path base() const { return installation_.base(); }
  std::filesystem::path tls() const { return installation_.tls(); }
  std::filesystem::path log() const { return installation_.log(); }
  std::filesystem::path settings() const { return base() / "conf/qvxpd.xml"; }

 private:
  const Installation installation_;
};

}  // namespace qvx::test

#endif
