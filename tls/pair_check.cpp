#include "tls/pair_check.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "log/ring_log.h"
#include "os/directories.h"
#include "os/file_lock.h"
#include "os/files.h"
#include "os/host.h"
#include "os/protection.h"
#include "tls/library_memory.h"
#include "tls/openssl_handles.h"
#include "tls/pem_files.h"
#include "tls/pem_objects.h"
#include "tls/self_signed.h"

namespace qvx {

namespace {

constexpr size_t kHostNameCapacity = 64;
/// The service account can sit on the lock.
constexpr std::chrono::seconds kLongestWait(10);
constexpr int kAttempts = 2;  // the second checks the pair that the first one made

/// The check is only whether the files load and match. At level 0 the library refuses no installed
/// certificate for its key size or digest. The daemon's configuration decides about these.
constexpr int kNoSecurityLevel = 0;
constexpr char kCipherList[] = "ALL";

constexpr char kCertificateSetAside[] =
    R"(The server certificate did not match the private key and has been regenerated.
The problematic certificate was renamed certmm.pem and is in the "..\zx\sslshare" subdirectory.
)";
constexpr char kKeySetAside[] =
    R"(The private key did not match the server certificate and has been regenerated.
The problematic private key was renamed filemm.pem and is in the "..\zx\sslshare"  subdirectory.
)";

constexpr char kUnreadable[] =
    "The server certificate and private key could not be read at the moment, so they were not "
    "replaced: %s.\n";
constexpr char kNotKept[] =
    "The server certificate and private key cannot be used, but could not be kept under another "
    "name, so they were not "
    "replaced.\n";

/// Returns null when the library cannot make a context, and prints the text for it; or when the
/// library refuses the cipher list.
ContextHandle MakeContext() {
  ContextHandle context(SSL_CTX_new(TLS_server_method()));
  if (!context) {
    std::puts("SSL_CTX_new() failure");
    return {};
  }
  SSL_CTX_set_options(context.get(), SSL_OP_ALL);
  SSL_CTX_set_security_level(context.get(), kNoSecurityLevel);
  return SSL_CTX_set_cipher_list(context.get(), kCipherList) == 1 ? std::move(context)
                                                                  : ContextHandle();
}

/// Returns what keeps the pair from being read now; an empty text when nothing does. What a lack of
/// memory seems to say about the pair is no fact.
std::string ObstacleTo(const OldPair& pair) {
  if (pair.certificate.is_unreadable_now()) {
    return CertificatePath() + ": " + std::strerror(pair.certificate.error);
  }
  if (pair.key.is_unreadable_now()) {
    return KeyPath() + ": " + std::strerror(pair.key.error);
  }
  return LibraryLackedMemory() ? std::strerror(ENOMEM) : "";
}

/// Examines the facts one after the other, up to the first that decides.
PairFacts Examine(SSL_CTX* context, const OldPair& pair, const char* host_name) {
  PairFacts facts;
  const CertificateHandle certificate = CertificateFrom(pair.certificate.text);
  facts.certificate_loads = certificate && SSL_CTX_use_certificate(context, certificate.get()) == 1;
  const KeyHandle key = facts.certificate_loads ? KeyFrom(pair.key.text) : nullptr;
  facts.key_loads = key != nullptr;
  // The library already refuses a key that does not belong to the certificate when the key is set.
  facts.they_match = facts.key_loads && SSL_CTX_use_PrivateKey(context, key.get()) == 1 &&
                     SSL_CTX_check_private_key(context) == 1;
  facts.names_host = facts.they_match && NamesHost(certificate.get(), host_name);
  facts.is_ours = facts.they_match && IsOurs(certificate.get());
  if (!facts.they_match) {
    facts.obstacle = ObstacleTo(pair);
    facts.is_known = facts.obstacle.empty();
  }
  return facts;
}

/// Logs the fact that decides, unless it is that the pair is for this host.
void Report(const PairFacts& facts) {
  if (!facts.is_known) {
    LogOutput(kLogError, kUnreadable, facts.obstacle.c_str());
  } else if (!facts.certificate_loads) {
    LogOutput(kLogInformation,
              "Unable to load certificate file during SSL Server Initialization\n");
  } else if (!facts.key_loads) {
    LogOutput(kLogError, "Unable to load private key during SSL Server Initialization\n");
  } else if (!facts.they_match) {
    LogOutput(
        kLogError,
        "The SSL certificate and private key did not match during SSL Server Initialization\n");
  } else if (!facts.names_host) {
    LogOutput(kLogError,
              "This certificate has a Common Name (CN) that doesn't match the server's name\n");
  }
}

/// One look at the pair: each file is read once, so that everything is about the same pair.
struct Look {
  OldPair pair;
  PairFacts facts;

  PairFate fate() const { return FateOf(facts); }
};

Look TakeLook(SSL_CTX* context, const std::string& host_name) {
  Look look;
  look.pair.certificate = LookAt(CertificatePath());
  const std::string key_path = KeyPath();
  const int token = OSPrepOpen(key_path.c_str());
  look.pair.key = LookAt(key_path);
  OSUndoPrepOpen(key_path.c_str(), token);
  look.facts = Examine(context, look.pair, host_name.c_str());
  return look;
}

Outcome KeepFile(Aside (*set_aside)(OldFile&), OldFile& old, const char* record) {
  const Aside aside = set_aside(old);
  if (aside.is_told) {
    LogOutput(kLogError, "%s", record);
  }
  return aside.kept;
}

bool IsText(const OldFile& file, const std::string& text) {
  return !text.empty() && file.text == text;
}

/// Keeps both files of the pair, as far as they exist, under their set-aside names. `made` is what
/// this run has stored before, if anything. Half of it beside a file of another's is not kept: the
/// other is installing a pair at this moment, and that half would take the place of his other file.
Outcome SetPairAside(OldPair& old, const GeneratedPair& made) {
  using enum Outcome;
  const bool has_own_certificate = IsText(old.certificate, made.certificate);
  const bool has_own_key = IsText(old.key, made.key);
  Outcome certificate = kDone;
  Outcome key = kDone;
  if (!has_own_certificate || has_own_key) {
    certificate = KeepFile(SetCertificateAside, old.certificate, kCertificateSetAside);
  }
  if (certificate != kChanged && (!has_own_key || has_own_certificate)) {
    key = KeepFile(SetKeyAside, old.key, kKeySetAside);
  }
  if (certificate == kChanged || key == kChanged) {
    return kChanged;
  }
  if (certificate == kDone && key == kDone && SynchronizeShare()) {
    return kDone;
  }
  LogOutput(kLogError, "%s", kNotKept);
  return kFailed;
}

/// Makes a new pair in the place of one that is not to stay. `made` is that of the attempt before.
GeneratedPair Replace(Look& look, const std::string& host_name, const GeneratedPair& made) {
  const Outcome kept =
      look.fate() == PairFate::kSetAside ? SetPairAside(look.pair, made) : Outcome::kDone;
  return kept == Outcome::kDone ? GeneratePair(host_name, look.pair)
                                : GeneratedPair{.outcome = kept, .certificate = {}, .key = {}};
}

/// Leaves a pair that passed. A key of the launcher's own is for the account's group, too.
int32_t Keep(const Look& look) {
  if (look.facts.is_ours) {
    OpenToGroup(look.pair.key);
  }
  return 1;
}

/// The attempts, with the lock or without it.
int32_t TryTwice(SSL_CTX* context, const std::string& host_name) {
  GeneratedPair made;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    Look look = TakeLook(context, host_name);
    Report(look.facts);
    if (look.fate() == PairFate::kKeep || look.fate() == PairFate::kUnknown) {
      return look.fate() == PairFate::kKeep ? Keep(look) : 0;
    }
    made = Replace(look, host_name, made);
  }
  // Somebody else's pair took the place of the last one, unless it is only half installed.
  const bool is_theirs =
      made.outcome == Outcome::kChanged && TakeLook(context, host_name).fate() == PairFate::kKeep;
  return made.outcome == Outcome::kDone || is_theirs ? 1 : 0;
}

/// A pair that stays needs no lock and waits for none.
int32_t CheckAndReplace() {
  const std::string host_name = PairHostName();
  const ContextHandle context = MakeContext();
  if (!context) {
    return 0;
  }
  const Look first = TakeLook(context.get(), host_name);
  const bool stays = first.fate() == PairFate::kKeep;
  std::chrono::milliseconds patience = stays ? std::chrono::milliseconds(0) : kLongestWait;
  const Descriptor share = OpenShare();
  const FileLock lock(share, patience);
  const bool is_repaired = (!stays || lock.is_held()) && RepairPair(share);
  if (stays && !is_repaired) {
    Report(first.facts);
    return Keep(first);
  }
  return TryTwice(context.get(), host_name);
}

/// What an earlier run or an administrator left empty there, and what the account could not use
/// otherwise, is made anew.
int32_t ProvideServiceDirectory(const std::string& path) {
  if (OsMkdir(path.c_str()) != 0 && RemoveUselessDirectory(path)) {
    OsMkdir(path.c_str());
  }
  return OsProtectFile(path.c_str());
}

}  // namespace

std::string PairHostName() {
  char name[kHostNameCapacity] = {};
  if (OSGetHostName(name, sizeof name) != 0) {
    LogOutput(kLogError, "Unable to get the hostname for the server\n");
    return {};
  }
  return name;
}

std::optional<PairFacts> ExaminePair() {
  const ErrorQueueKeeper queue;
  const std::string host_name = PairHostName();
  const ContextHandle context = MakeContext();
  return context ? std::optional(TakeLook(context.get(), host_name).facts) : std::nullopt;
}

PairFate FateOf(const PairFacts& facts) {
  if (!facts.is_known) {
    return PairFate::kUnknown;
  }
  if (!facts.certificate_loads || !facts.key_loads || !facts.they_match) {
    return PairFate::kSetAside;
  }
  return facts.names_host || !facts.is_ours ? PairFate::kKeep : PairFate::kReplace;
}

}  // namespace qvx

int32_t SSLServerInit() {
  OSInitializeSocket();
  SSLInitialization();
  CreatePHPSessionDir();
  return GenerateSelfSignedCert();
}

int32_t SSLInitialization() {
  qvx::WatchMemory();
  const qvx::ErrorQueueKeeper queue;
  if (OPENSSL_init_ssl(0, nullptr) != 1) {
    return 0;
  }
  OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
  return 1;
}

int32_t CreatePHPSessionDir() {
  const std::string path = qvx::InstallationPath("/session");
  qvx::ProvideServiceDirectory(path);
  return qvx::ProvideServiceDirectory(path + "/php");
}

int32_t GenerateSelfSignedCert() {
  const qvx::ErrorQueueKeeper queue;
  try {
    return qvx::CheckAndReplace();
  } catch (const std::bad_alloc&) {
    LogOutput(kLogError, qvx::kUnreadable, std::strerror(ENOMEM));
    return 0;
  }
}

int32_t CheckCertValidity(const char* host_name) {
  const qvx::ErrorQueueKeeper queue;
  try {
    const auto certificate = qvx::CertificateFrom(qvx::ReadPemFile(qvx::CertificatePath()));
    if (!certificate) {
      return 0;
    }
    const qvx::PairFacts facts{.certificate_loads = true,
                               .key_loads = true,
                               .they_match = true,
                               .names_host = qvx::NamesHost(certificate.get(), host_name),
                               .is_ours = qvx::IsOurs(certificate.get())};
    qvx::Report(facts);
    return qvx::FateOf(facts) == qvx::PairFate::kKeep ? 1 : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}
