#include "tls/certificate.h"

#include <gtest/gtest.h>

#include "tls/pair_check.h"

namespace qvx::test {

namespace {

constexpr int kSmallKey = 1024;

time_t SecondsOf(const ASN1_TIME* time) {
  tm fields{};
  EXPECT_EQ(ASN1_TIME_to_tm(time, &fields), 1);
  return timegm(&fields);
}

std::string CommonName(const X509* certificate) {
  char text[100] = {};
  X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, text, sizeof text);
  return text;
}

}  // namespace

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
  const Pair pair = Build({"Host.Example", {"DNS: a"}, 1'000'000'000, kSmallKey, 10});
  ASSERT_NE(pair.certificate, nullptr);
  EXPECT_EQ(EVP_PKEY_get_bits(pair.key.get()), kSmallKey);
  EXPECT_EQ(X509_check_private_key(pair.certificate.get(), pair.key.get()), 1);
  EXPECT_EQ(CommonName(pair.certificate.get()), "Host.Example");
  EXPECT_EQ(ASN1_INTEGER_get(X509_get0_serialNumber(pair.certificate.get())), 1'000'000'000);
  EXPECT_EQ(SecondsOf(X509_get0_notBefore(pair.certificate.get())), 1'000'000'000);
  EXPECT_EQ(SecondsOf(X509_get0_notAfter(pair.certificate.get())), 1'000'864'000);
  EXPECT_EQ(X509_get_ext_count(pair.certificate.get()), 1);
}

TEST(Certificate, NeedsACommonNameThatFits) {
  for (const size_t length : {0U, 65U}) {
    const Pair pair = Build({std::string(length, 'x'), {}, 0, kSmallKey, 1});
    EXPECT_NE(pair.key, nullptr) << length;
    EXPECT_EQ(pair.certificate, nullptr) << length;
    ERR_clear_error();
  }
}

TEST(Certificate, ObjectsThatAreThereAreFilled) {
  const CertificateHandle certificate(X509_new());
  const KeyHandle key(EVP_PKEY_new());
  X509* filled_certificate = certificate.get();
  EVP_PKEY* filled_key = key.get();
  EXPECT_EQ(makePkeyAndCert(&filled_certificate, &filled_key, kSmallKey, 1, "host"), 1);
  EXPECT_EQ(filled_certificate, certificate.get());
  EXPECT_EQ(filled_key, key.get());
  EXPECT_EQ(X509_check_private_key(certificate.get(), key.get()), 1);
  EXPECT_EQ(makePkeyAndCert(&filled_certificate, &filled_key, kSmallKey, 1, ""), 0);
}

TEST(Certificate, NewObjectsAreTheCallers) {
  X509* certificate = nullptr;
  EVP_PKEY* key = nullptr;
  EXPECT_EQ(makePkeyAndCert(&certificate, &key, kSmallKey, 1, ""), 0);
  EXPECT_EQ(certificate, nullptr);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(makePkeyAndCert(&certificate, &key, kSmallKey, 1, "host"), 1);
  EXPECT_EQ(CommonName(CertificateHandle(certificate).get()), "host");
  EXPECT_EQ(EVP_PKEY_get_bits(KeyHandle(key).get()), kSmallKey);
}

TEST(PairFate, FromFacts) {
  const struct {
    const char* name;
    PairFacts facts;
    PairFate fate;
  } rows[] = {
      {"no certificate", {}, PairFate::kSetAside},
      {"no key", {.certificate_loads = true}, PairFate::kSetAside},
      {"key of another certificate",
       {.certificate_loads = true, .key_loads = true},
       PairFate::kSetAside},
      {"own, for another host",
       {.certificate_loads = true, .key_loads = true, .they_match = true, .is_ours = true},
       PairFate::kReplace},
      {"foreign, for another host",
       {.certificate_loads = true, .key_loads = true, .they_match = true},
       PairFate::kKeep},
      {"foreign, for this host",
       {.certificate_loads = true, .key_loads = true, .they_match = true, .names_host = true},
       PairFate::kKeep},
      {"own, for this host",
       {.certificate_loads = true,
        .key_loads = true,
        .they_match = true,
        .names_host = true,
        .is_ours = true},
       PairFate::kKeep},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FateOf(row.facts), row.fate) << row.name;
  }
}

}  // namespace qvx::test
