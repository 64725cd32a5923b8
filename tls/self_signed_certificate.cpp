// The pair in memory: key, certificate, alternative names, and the seed that comes before them.

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
#include "tls/openssl_handles.h"
#include "tls/self_signed.h"

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
constexpr char kListSeparator[] = ";";
constexpr std::string_view kNameSeparator = ", ";

/// Fills `key` with a new RSA key; false when the library cannot make one.
bool GenerateKey(EVP_PKEY* key, int bits) {
  size_t size = static_cast<size_t>(bits);
  unsigned int exponent = kPublicExponent;
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_size_t(OSSL_PKEY_PARAM_RSA_BITS, &size),
                                   OSSL_PARAM_construct_uint(OSSL_PKEY_PARAM_RSA_E, &exponent),
                                   OSSL_PARAM_construct_end()};
  const qvx::KeyContextHandle context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
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

/// Sets what comes before the extensions, in the order of its fields. `now` is both the serial
/// number and the start.
bool SetFields(X509* certificate, EVP_PKEY* key, time_t now, int days, const char* common_name) {
  return X509_set_version(certificate, X509_VERSION_3) == 1 &&
         ASN1_INTEGER_set_int64(X509_get_serialNumber(certificate), now) == 1 &&
         ASN1_TIME_set(X509_getm_notBefore(certificate), now) != nullptr &&
         ASN1_TIME_set(X509_getm_notAfter(certificate), now + qvx::ValiditySeconds(now, days)) !=
             nullptr &&
         X509_set_pubkey(certificate, key) == 1 && AddSubject(certificate, common_name);
}

bool AddListedNames(X509* certificate) {
  std::optional<std::string> list = qvx::MultihomedNames();
  return !list || AddExtensionsToCert(certificate, list->data()) == 1;
}

bool SignBySubject(X509* certificate, EVP_PKEY* key) {
  return X509_set_issuer_name(certificate, X509_get_subject_name(certificate)) == 1 &&
         X509_sign(certificate, key, EVP_sha1()) > 0;
}

/// The extension for a text of names; null when the library refuses one of them.
qvx::ExtensionHandle AlternativeNamesExtension(const std::string& names) {
  // An empty context and not none: for some kinds of names the library reads it without looking.
  X509V3_CTX context{};
  return qvx::ExtensionHandle(
      X509V3_EXT_conf_nid(nullptr, &context, NID_subject_alt_name, names.c_str()));
}

}  // namespace

int32_t makePkeyAndCert(X509** certificate, EVP_PKEY** key, int bits, int days,
                        const char* common_name) {
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
  const time_t now = OsGenerateRandomSeed(common_name);
  if (!GenerateKey(filled_key, bits)) {
    std::abort();
  }
  try {
    if (!SetFields(filled_certificate, filled_key, now, days, common_name) ||
        !AddListedNames(filled_certificate) || !SignBySubject(filled_certificate, filled_key)) {
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
  const std::string names = qvx::AlternativeNamesText(list);
  if (names.empty()) {
    return 1;
  }
  if (const qvx::ExtensionHandle extension = AlternativeNamesExtension(names)) {
    X509_add_ext(certificate, extension.get(), -1);
  }
  return 1;
}

time_t OsGenerateRandomSeed(const char* text) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::string seed = qvx::RandomSeedRecord(now, text);
  RAND_seed(seed.data(), static_cast<int>(seed.size()));
  return now.tv_sec;
}

namespace qvx {

std::string AlternativeNamesText(char* list) {
  std::string names;
  char* rest = nullptr;
  for (const char* name = strtok_r(list, kListSeparator, &rest); name != nullptr;
       name = strtok_r(nullptr, kListSeparator, &rest)) {
    if (std::strlen(name) > kLongestAlternativeName) {
      LogOutput(kLogError,
                "There is a invalid alternative name that will be ignored in certificate (too long "
                "name)");
      continue;
    }
    names.append(names.empty() ? "" : kNameSeparator)
        .append(isTheValueAnIP(name) != 0 ? "IP: " : "DNS: ")
        .append(name);
  }
  return names;
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
