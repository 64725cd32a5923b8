// Starting the TLS library and checking the server's certificate and key.
//
// Both files must load, the key must belong to the certificate, and the certificate must name this
// host. A pair that does not load or match is copied to its set-aside names and replaced by a new
// self-signed one. A certificate for another host is replaced only when the launcher made it. Each
// fault is logged. A pair that cannot be read at the moment stays: nothing is known about it.
//
// Runs that find nothing to keep take turns by a lock on the TLS share directory, from the look
// that counts to the last rename. The service account can sit on that lock, so a run goes on
// without it after a while. It is right without it, too, because exactly what was looked at is
// replaced.
#ifndef QVX_TLS_PAIR_CHECK_H
#define QVX_TLS_PAIR_CHECK_H

#include <cstdint>
#include <optional>
#include <string>

/// Ignores SIGPIPE, starts the TLS library, makes the session directories, then checks the pair.
/// Returns the result of GenerateSelfSignedCert. Throws std::bad_alloc.
int32_t SSLServerInit();

/// Starts the TLS library and loads its error texts. Returns 1, or 0 when it could not be started.
int32_t SSLInitialization();

/// Makes and protects the script engine's session directories. Returns the result of the last
/// protection. Throws std::bad_alloc.
int32_t CreatePHPSessionDir();

/// Checks the pair at most twice and makes a new one after each failure. Returns 1 when the pair on
/// disk passed, otherwise the result of the last generation. Returns 0 when the TLS context could
/// not be prepared, when the old pair could not be read now or not be set aside, and when memory
/// ran out. When somebody else exchanged a file of the pair meanwhile, that file stays, and counts.
int32_t GenerateSelfSignedCert();

/// Returns 1 when the certificate on disk may be used with `host_name`: its common name is that
/// name, in any case, or somebody else issued it. Returns 0 when it is to be replaced or cannot be
/// read. A certificate for another host is logged, and for a null name every one is.
int32_t CheckCertValidity(const char* host_name);

namespace qvx {

/// The facts about the pair on disk. Once a fact decides, the later ones are not looked for and
/// stay false.
struct PairFacts {
  bool certificate_loads = false;
  bool key_loads = false;
  bool they_match = false;
  bool names_host = false;  ///< the certificate's common name is the host's
  bool is_ours = false;     ///< the launcher issued the certificate
  bool is_known = true;     ///< false: the pair cannot be read now, and the facts say nothing
  std::string obstacle{};   ///< what keeps it from being read now, with the path if it is a file's
};

/// Returns the name of this host for which a pair is made. Returns an empty name, with a record in
/// the log, when the system's name does not fit, and no pair can be made then.
std::string PairHostName();

/// Returns the facts about the pair on disk and this host. Returns nothing when the TLS context
/// could not be prepared. Throws std::bad_alloc.
std::optional<PairFacts> ExaminePair();

enum class PairFate {
  kKeep,
  kUnknown,   ///< it stays, but cannot be used
  kReplace,   ///< by a new pair
  kSetAside,  ///< kept under the set-aside names, then replaced
};

PairFate FateOf(const PairFacts& facts);

}  // namespace qvx

#endif
