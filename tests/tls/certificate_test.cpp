#include "tls/certificate.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include "tests/harness/allocator.h"
#include "tls/connection_errors.h"
#include "tls/library_memory.h"
#include "tls/pair_check.h"

namespace {

bool signing_lacked_memory = false;
int calls_in_signing = qvx::test::kNever;  // before the one that fails

}  // namespace

// The linker gives this what asks the library for a signature.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
int __real_X509_sign(X509* certificate, EVP_PKEY* key, const EVP_MD* digest);
int __wrap_X509_sign(X509* certificate, EVP_PKEY* key, const EVP_MD* digest) {
  qvx::test::FailAllocation(calls_in_signing);
  const int size = __real_X509_sign(certificate, key, digest);
  signing_lacked_memory = qvx::test::HasFailedAllocation();
  return size;
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace qvx::test {
namespace {

constexpr int kSmallKey = 1024;

std::string CommonName(const X509* certificate) {
  char text[100] = {};
  X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, text, sizeof text);
  return text;
}

// Before the library asks for the first memory.
[[maybe_unused]] const bool is_watched = (WatchMemory(), true);

TEST(Certificate, ValidityEndsAtTheLimit) {
  EXPECT_EQ(ValiditySeconds(2144468992 - 315532800, 3652), 315532800);
  EXPECT_EQ(ValiditySeconds(2144468992 - 315532800 + 1, 3652), 315532799);
  EXPECT_EQ(ValiditySeconds(0, 2147483647), 2144468992);
}

TEST(Certificate, SeedIsTheRotatedTimeThenText) {
  // 261 ms is 0x0105: the record is rotated by 5.
  const timespec time{0x0807060504030201, 261'000'000};
  const std::string rotated("\x06\x07\x08\x05\x01\0\0\0\0\0\0\x01\x02\x03\x04\x05", 16);
  EXPECT_EQ(RandomSeedRecord(time, "host"), rotated + "host");
  EXPECT_EQ(RandomSeedRecord(time, std::string(200, 'x')), rotated + std::string(112, 'x'));
}

/// The text for a list of names, how many are left out of it, and how many extensions it makes.
std::string Named(const std::string& list) {
  const AlternativeNames names = AlternativeNamesFrom(list);
  const CertificateHandle certificate(X509_new());
  EXPECT_EQ(AddExtensionsToCert(certificate.get(), std::string(list).data()), 1);
  EXPECT_EQ(ERR_peek_error(), 0U);
  return names.text + " " + std::to_string(names.left_out) + " " +
         std::to_string(X509_get_ext_count(certificate.get()));
}

TEST(Certificate, AlternativeNames) {
  const std::string n(127, 'n');
  EXPECT_EQ(Named(""), " 0 0");
  EXPECT_EQ(Named(";host1;;10.0.0.5;"), "DNS: host1, IP: 10.0.0.5 0 1");
  EXPECT_EQ(Named(n + "n;a;" + n + "m;b;" + n), "DNS: a, DNS: b, DNS: " + n + " 2 1");
  EXPECT_EQ(Named("a;1.2.3.4.5"), "DNS: a, IP: 1.2.3.4.5 0 0") << "no address for the library";
  EXPECT_EQ(Named("a,dirName:b"), "DNS: a,dirName:b 0 0") << "no such database";
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

TEST(Certificate, SigningGetsTheMemoryThatIsKeptBack) {
  do {
    ++calls_in_signing;
    EXPECT_NE(Build({"host", {}, 0, 512, 1}).certificate, nullptr) << calls_in_signing;
  } while (signing_lacked_memory);
  EXPECT_GT(calls_in_signing, 0);
  calls_in_signing = kNever;
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
  PairFacts facts;
  EXPECT_EQ(FateOf(facts), PairFate::kSetAside);
  facts.certificate_loads = facts.key_loads = true;
  EXPECT_EQ(FateOf(facts), PairFate::kSetAside) << "they do not match";
  facts.they_match = true;
  EXPECT_EQ(FateOf(facts), PairFate::kKeep) << "foreign, for another host";
  facts.is_ours = true;
  EXPECT_EQ(FateOf(facts), PairFate::kReplace);
  facts.names_host = true;
  EXPECT_EQ(FateOf(facts), PairFate::kKeep);
  facts.is_known = false;
  EXPECT_EQ(FateOf(facts), PairFate::kUnknown);
}

/// The result for a code, and what is printed behind the common beginning.
std::string Handled(int code) {
  testing::internal::CaptureStdout();
  const std::string result = std::to_string(ZX_Get_SSL_ErrorHandler(&code));
  const std::string line = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(line.empty() || line.starts_with("TMK_Get_SSL_ErrorHandler: "));
  return result + line.substr(std::min(line.size(), strlen("TMK_Get_SSL_ErrorHandler:")));
}

TEST(ConnectionErrors, CodesAndTheirLines) {
  const ContextHandle context(SSL_CTX_new(TLS_server_method()));
  SSL* const connection = SSL_new(context.get());
  testing::internal::CaptureStdout();
  EXPECT_EQ(ZX_Get_SSL_Error("accept", connection, 1), SSL_ERROR_NONE);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error: Function 'accept' failure(0)\n");
  EXPECT_EQ(ZX_SSL_Shutdown(connection), -1);
  SSL_free(connection);
  ERR_clear_error();
  EXPECT_EQ(Handled(SSL_ERROR_NONE), "0");
  EXPECT_EQ(Handled(SSL_ERROR_SSL), "1 SSL_ERROR_SSL\n");
  EXPECT_EQ(Handled(SSL_ERROR_WANT_READ), "2 SSL_ERROR_WANT_READ\n");
  EXPECT_EQ(Handled(SSL_ERROR_WANT_WRITE), "3 SSL_ERROR_WANT_WRITE\n");
  EXPECT_EQ(Handled(SSL_ERROR_WANT_X509_LOOKUP), "4 SSL_ERROR_WANT_X509_LOOKUP\n");
  EXPECT_EQ(Handled(SSL_ERROR_SYSCALL), "5 SSL_ERROR_SYSCALL\n");
  EXPECT_EQ(Handled(SSL_ERROR_ZERO_RETURN), "0");
  EXPECT_EQ(Handled(SSL_ERROR_WANT_CONNECT), "7 SSL_ERROR_WANT_CONNECT\n");
  EXPECT_EQ(Handled(SSL_ERROR_WANT_ACCEPT), "8");
}

}  // namespace
}  // namespace qvx::test
