#include "tls/certificate.h"

#include <openssl/core_names.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <optional>
#include <utility>

#include "log/ring_log.h"
#include "settings/multihomed_names.h"
#include "settings/setting_list.h"
#include "tls/library_memory.h"

char tmkCertOName[32] = "Brennick-Talvar Company";
char tmkCertOuName[64] = "Brennick-Talvar Network Management Software (QVX)";

namespace qvx {

namespace {

constexpr unsigned int kPublicExponent = 65537;
constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kLatestEnd =
    2144468992;  // 2037-12-15 05:49:52 UTC, short of the end of 32-bit time

constexpr size_t kTimeRecordSize = 16;
constexpr size_t kMillisecondsOffset = 8;
constexpr size_t kSeedTextSize = 128 - kTimeRecordSize;
constexpr int64_t kNanosecondsPerMillisecond = 1000000;

constexpr size_t kLongestAlternativeName = 127;
constexpr std::string_view kNameSeparator = ", ";

/// Fills `key` with a new RSA key. Returns false when the library cannot make one.
bool GenerateKey(EVP_PKEY* key, int bits) {
  size_t size = static_cast<size_t>(bits);
  unsigned int exponent = kPublicExponent;
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_size_t(OSSL_PKEY_PARAM_RSA_BITS, &size),
                                   OSSL_PARAM_construct_uint(OSSL_PKEY_PARAM_RSA_E, &exponent),
                                   OSSL_PARAM_construct_end()};
  const KeyContextHandle context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  return context && EVP_PKEY_keygen_init(context.get()) == 1 &&
         EVP_PKEY_CTX_set_params(context.get(), parameters) == 1 &&
         EVP_PKEY_generate(context.get(), &key) == 1;
}

bool AddSubject(X509* certificate, const char* common_name) {
  const std::pair<const char*, const char*> entries[] = {
      {"C", "US"},         {"ST", "Vessa"},       {"L", "Torvane"},
      {"O", tmkCertOName}, {"OU", tmkCertOuName}, {"CN", common_name}};
  X509_NAME* subject = X509_get_subject_name(certificate);
  return std::all_of(std::begin(entries), std::end(entries), [subject](const auto& entry) {
    const auto* text = reinterpret_cast<const unsigned char*>(entry.second);
    return X509_NAME_add_entry_by_txt(subject, entry.first, MBSTRING_ASC, text, -1, -1, 0) == 1;
  });
}

/// Sets the fields in front of the extensions, in their order.
bool SetFields(X509* certificate, EVP_PKEY* key, const CertificateRequest& request) {
  const time_t end = request.now + ValiditySeconds(request.now, request.days);
  return X509_set_version(certificate, X509_VERSION_3) == 1 &&
         ASN1_INTEGER_set_int64(X509_get_serialNumber(certificate), request.now) == 1 &&
         ASN1_TIME_set(X509_getm_notBefore(certificate), request.now) != nullptr &&
         ASN1_TIME_set(X509_getm_notAfter(certificate), end) != nullptr &&
         X509_set_pubkey(certificate, key) == 1 &&
         AddSubject(certificate, request.common_name.c_str());
}

/// Returns the extension for a text of names. Returns null when the text is empty or the library
/// refuses a name.
ExtensionHandle NamesExtension(const std::string& names) {
  // For some kinds of names the library reads the context without a null test.
  X509V3_CTX context{};
  return ExtensionHandle(
      names.empty() ? nullptr
                    : X509V3_EXT_conf_nid(nullptr, &context, NID_subject_alt_name, names.c_str()));
}

/// Logs one record for each name that is too long.
void AddNames(X509* certificate, const AlternativeNames& names) {
  for (size_t i = 0; i < names.left_out; ++i) {
    LogOutput(kLogError,
              "There is a invalid alternative name that will be ignored in certificate (too long "
              "name)");
  }
  if (const ExtensionHandle extension = NamesExtension(names.text)) {
    X509_add_ext(certificate, extension.get(), -1);
  }
}

/// The library writes the algorithm into the certificate by a reader that frees what it fills when
/// memory runs out, and that is the inside of the certificate here.
bool Sign(X509* certificate, EVP_PKEY* key) {
  const SpareMemory spare;
  return spare && X509_sign(certificate, key, EVP_sha1()) > 0;
}

bool FillCertificate(X509* certificate, EVP_PKEY* key, const CertificateRequest& request) {
  if (!SetFields(certificate, key, request)) {
    return false;
  }
  AddNames(certificate, request.names);
  return X509_set_issuer_name(certificate, X509_get_subject_name(certificate)) == 1 &&
         Sign(certificate, key);
}

}  // namespace

AlternativeNames AlternativeNamesFrom(std::string_view list) {
  AlternativeNames names;
  while (const auto name = TakeEntry(list)) {
    if (name->size() > kLongestAlternativeName) {
      ++names.left_out;
      continue;
    }
    names.text.append(names.text.empty() ? "" : kNameSeparator)
        .append(IsAddressEntry(*name) ? "IP: " : "DNS: ")
        .append(*name);
  }
  return names;
}

bool AreAccepted(const AlternativeNames& names) {
  const ErrorQueueKeeper queue;
  return NamesExtension(names.text) != nullptr;
}

CertificateRequest RequestNow(const char* common_name, int bits, int days) {
  const time_t now = OsGenerateRandomSeed(common_name);
  return {common_name, AlternativeNamesFrom(MultihomedNames().value_or("")), now, bits, days};
}

Pair Build(const CertificateRequest& request) {
  Pair pair{KeyHandle(EVP_PKEY_new()), CertificateHandle(X509_new())};
  if (!pair.key || !GenerateKey(pair.key.get(), request.bits)) {
    return {};
  }
  if (pair.certificate && !FillCertificate(pair.certificate.get(), pair.key.get(), request)) {
    pair.certificate.reset();
  }
  return pair;
}

int64_t ValiditySeconds(int64_t now, int days) {
  const int64_t wanted = days * kSecondsPerDay;
  return kLatestEnd - wanted < now ? kLatestEnd - now : wanted;
}

std::string RandomSeedRecord(const timespec& time, std::string_view text) {
  const int64_t seconds = time.tv_sec;
  const auto milliseconds = static_cast<uint16_t>(time.tv_nsec / kNanosecondsPerMillisecond);
  std::string record(kTimeRecordSize, '\0');
  std::memcpy(record.data(), &seconds, sizeof seconds);
  std::memcpy(record.data() + kMillisecondsOffset, &milliseconds, sizeof milliseconds);
  std::rotate(record.begin(),
              record.begin() + static_cast<std::ptrdiff_t>(milliseconds % kTimeRecordSize),
              record.end());
  return record.append(text.substr(0, kSeedTextSize));
}

}  // namespace qvx

int32_t makePkeyAndCert(X509** certificate, EVP_PKEY** key, int bits, int days,
                        const char* common_name) {
  if (common_name == nullptr) {
    return 0;
  }
  const qvx::ErrorQueueKeeper queue;
  qvx::KeyHandle new_key(*key == nullptr ? EVP_PKEY_new() : nullptr);
  EVP_PKEY* const filled_key = *key == nullptr ? new_key.get() : *key;
  if (filled_key == nullptr) {
    std::abort();
  }
  qvx::CertificateHandle new_certificate(*certificate == nullptr ? X509_new() : nullptr);
  X509* const filled_certificate = *certificate == nullptr ? new_certificate.get() : *certificate;
  if (filled_certificate == nullptr) {
    return 0;
  }
  try {
    const qvx::CertificateRequest request = qvx::RequestNow(common_name, bits, days);
    if (!qvx::GenerateKey(filled_key, bits)) {
      std::abort();
    }
    if (!qvx::FillCertificate(filled_certificate, filled_key, request)) {
      return 0;
    }
  } catch (const std::bad_alloc&) {
    return 0;
  }
  *certificate = filled_certificate;
  *key = filled_key;
  static_cast<void>(new_certificate.release());
  static_cast<void>(new_key.release());
  return 1;
}

int32_t AddExtensionsToCert(X509* certificate, char* list) {
  if (list == nullptr) {
    return 0;
  }
  const qvx::ErrorQueueKeeper queue;
  const qvx::AlternativeNames names = qvx::AlternativeNamesFrom(list);
  std::replace(list, list + std::strlen(list), ';', '\0');
  qvx::AddNames(certificate, names);
  return 1;
}

time_t OsGenerateRandomSeed(const char* text) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::string seed = qvx::RandomSeedRecord(now, text == nullptr ? "" : text);
  RAND_seed(seed.data(), static_cast<int>(seed.size()));
  return now.tv_sec;
}
