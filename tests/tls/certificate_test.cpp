#include "tls/certificate.h"

#include <gtest/gtest.h>

#include "tls/pair_check.h"

namespace qvx::test {
namespace {

constexpr int kSmallKey = 1024;

std::string CommonName(const X509* certificate) {
  char text[100] = {};
  X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, text, sizeof text);
  return text;
}

TEST(Certificate, ValidityEndsAtTheLimit) {
  EXPECT_EQ(ValiditySeconds(2144468992 - 315532800, 3652), 315532800);
  EXPECT_EQ(ValiditySeconds(2144468992 - 315532800 + 1, 3652), 315532799);
  EXPECT_EQ(ValiditySeconds(0, 2147483647), 2144468992);
}

TEST(Certificate, SeedIsTheRotatedTimeThenText) {
  const timespec time{0x0807060504030201,
                      261'000'000};  // 261 ms is 0x0105: the record is rotated by 5
  const std::string rotated("\x06\x07\x08\x05\x01\0\0\0\0\0\0\x01\x02\x03\x04\x05", 16);
  EXPECT_EQ(RandomSeedRecord(time, "host"), rotated + "host");
  EXPECT_EQ(RandomSeedRecord(time, std::string(200, 'x')), rotated + std::string(112, 'x'));
}

TEST(Certificate, AlternativeNames) {
  const std::string n(127, 'n');
  const struct {
    const char* name;
    std::string list;
    std::string text;
    size_t left_out;
    int extensions;
  } rows[] = {
      {"no names", "", "", 0, 0},
      {"name and address", ";host1;;10.0.0.5;", "DNS: host1, IP: 10.0.0.5", 0, 1},
      {"too long names", n + "n;a;" + n + "m;b;" + n, "DNS: a, DNS: b, DNS: " + n, 2, 1},
      {"no address for the library", "a;1.2.3.4.5", "DNS: a, IP: 1.2.3.4.5", 0, 0},
      {"database that is not there", "a,dirName:b", "DNS: a,dirName:b", 0, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const AlternativeNames names = AlternativeNamesFrom(row.list);
    EXPECT_EQ(names.text, row.text);
    EXPECT_EQ(names.left_out, row.left_out);
    const CertificateHandle certificate(X509_new());
    EXPECT_EQ(AddExtensionsToCert(certificate.get(), std::string(row.list).data()), 1);
    EXPECT_EQ(X509_get_ext_count(certificate.get()), row.extensions);
    EXPECT_EQ(ERR_peek_error(), 0U);
  }
  EXPECT_EQ(AddExtensionsToCert(nullptr, nullptr), 0);
}

TEST(Certificate, IsBuiltFromItsRequestAlone) {
  const auto [key, certificate] = Build({"Host.Example", {"DNS: a"}, 1'000'000'000, kSmallKey, 10});
  ASSERT_NE(certificate, nullptr);
  EXPECT_EQ(EVP_PKEY_get_bits(key.get()), kSmallKey);
  EXPECT_EQ(X509_check_private_key(certificate.get(), key.get()), 1);
  EXPECT_EQ(CommonName(certificate.get()), "Host.Example");
  EXPECT_EQ(ASN1_INTEGER_get(X509_get0_serialNumber(certificate.get())), 1'000'000'000);
  EXPECT_EQ(ASN1_TIME_cmp_time_t(X509_get0_notBefore(certificate.get()), 1'000'000'000), 0);
  EXPECT_EQ(ASN1_TIME_cmp_time_t(X509_get0_notAfter(certificate.get()), 1'000'864'000), 0);
  EXPECT_EQ(X509_get_ext_count(certificate.get()), 1);
  for (const size_t length : {0U, 65U}) {
    const Pair unnamed = Build({std::string(length, 'x'), {}, 0, kSmallKey, 1});
    EXPECT_NE(unnamed.key, nullptr) << length;
    EXPECT_EQ(unnamed.certificate, nullptr) << length;
    ERR_clear_error();
  }
}

TEST(Certificate, ObjectsAreFilledOrMadeForTheCaller) {
  X509* certificate = nullptr;
  EVP_PKEY* key = nullptr;
  EXPECT_EQ(makePkeyAndCert(&certificate, &key, kSmallKey, 1, ""), 0);
  EXPECT_EQ(certificate, nullptr);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(makePkeyAndCert(&certificate, &key, kSmallKey, 1, "host"), 1);
  const CertificateHandle old_certificate(certificate);
  const KeyHandle old_key(key);
  EXPECT_EQ(CommonName(certificate), "host");
  EXPECT_EQ(EVP_PKEY_get_bits(key), kSmallKey);
  const CertificateHandle empty_certificate(X509_new());
  const KeyHandle empty_key(EVP_PKEY_new());
  certificate = empty_certificate.get();
  key = empty_key.get();
  EXPECT_EQ(makePkeyAndCert(&certificate, &key, kSmallKey, 1, "host"), 1);
  EXPECT_EQ(certificate, empty_certificate.get());
  EXPECT_EQ(key, empty_key.get());
  EXPECT_EQ(X509_check_private_key(certificate, key), 1);
}

TEST(PairFate, FromFacts) {
  const struct {
    const char* name;
    PairFacts facts;
    PairFate fate;
  } rows[] = {
      {.name = "no certificate", .facts = {}, .fate = PairFate::kSetAside},
      {.name = "no key", .facts = {.certificate_loads = true}, .fate = PairFate::kSetAside},
      {.name = "key of another certificate",
       .facts = {.certificate_loads = true, .key_loads = true},
       .fate = PairFate::kSetAside},
      {.name = "own, for another host",
       .facts = {.certificate_loads = true, .key_loads = true, .they_match = true, .is_ours = true},
       .fate = PairFate::kReplace},
      {.name = "foreign, for another host",
       .facts = {.certificate_loads = true, .key_loads = true, .they_match = true},
       .fate = PairFate::kKeep},
      {.name = "own, for this host",
       .facts = {.certificate_loads = true,
                 .key_loads = true,
                 .they_match = true,
                 .names_host = true,
                 .is_ours = true},
       .fate = PairFate::kKeep},
      {.name = "foreign, for this host",
       .facts =
           {.certificate_loads = true, .key_loads = true, .they_match = true, .names_host = true},
       .fate = PairFate::kKeep},
      {.name = "not to be read now", .facts = {.is_known = false}, .fate = PairFate::kUnknown},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FateOf(row.facts), row.fate) << row.name;
  }
}

}  // namespace
}  // namespace qvx::test
