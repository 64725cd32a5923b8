// What a start would find and write, without starting.
//
// The launcher's own functions read the settings, find the addresses, examine the certificate and
// make the texts. What depends on making something, such as a file beside an old one, is foreseen
// from names, rights and attributes. A full disk, exhausted memory and what other processes do
// meanwhile are not foreseen.
#ifndef QVX_COMPANION_FORECAST_H
#define QVX_COMPANION_FORECAST_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "dom/handles.h"
#include "os/file_replacement.h"
#include "settings/record.h"
#include "tls/certificate.h"
#include "tls/pair_check.h"

namespace qvx::companion {

/// What a start does about certificate and key.
struct PairForecast {
  bool loses_certificate = false;  ///< QVX_CERT_REGEN asks for it, and the file can be deleted
  bool loses_key = false;          ///< the same
  std::optional<PairFacts> facts;  ///< nothing when the TLS library cannot be used
  PairFate fate = PairFate::kSetAside;
  Refusal refusal{};  ///< of a new pair, if one of its files would not take its place
  bool certificate_can_be_kept = true;  ///< under its set-aside name, if it has to be
  bool key_can_be_kept = true;          ///< the same
  std::string host;                     ///< empty when its name is too long for a certificate
  AlternativeNames names;               ///< those of a new certificate
  bool names_are_accepted = false;

  bool is_deleted_first() const { return loses_certificate || loses_key; }
  bool is_kept() const { return facts && fate == PairFate::kKeep; }
  /// Returns whether the start goes on.
  bool is_usable() const {
    return facts && facts->is_known &&
           (is_kept() ||
            (refusal.error == 0 && certificate_can_be_kept && key_can_be_kept && !host.empty()));
  }
};

/// What becomes of the settings document.
enum class DocumentFate {
  kRead,      ///< read as it is
  kMade,      ///< cannot be opened: the default takes its place
  kReplaced,  ///< does not load: the default takes its place, and the settings are lost
  kSkipped,   ///< cannot be opened, nor the default be written: every setting counts as absent
  kUnusable,  ///< does not load, and the default cannot be written: the start ends
};

/// Where the settings document stops being one.
struct DocumentFault {
  std::string text;
  uint64_t line = 0;  ///< from 1; 0 when no place is known
  uint64_t column = 0;
};

/// A file that a start writes whole.
struct ForeseenFile {
  std::string path;
  std::string text;
  bool is_written;
  int refusal = 0;  ///< the error of a file that cannot be written by itself
};

struct Forecast {
  std::string document_path;  ///< the settings document, or the candidate in its place
  std::string document_text;  ///< as it stands there; empty when it cannot be read
  bool is_candidate = false;
  PairForecast pair;
  DocumentFate document_fate = DocumentFate::kRead;
  DocumentFault fault;         ///< of a document that does not load
  DocumentHolder document;     ///< the one that is read, the default included
  LoadedSettings settings;     ///< its texts belong to `document`
  std::string interface_text;  ///< the output of "ip addr"
  std::vector<uint32_t> available;
  std::vector<std::string> bind_addresses;
  ForeseenFile server_conf;
  ForeseenFile php_ini;
  ForeseenFile agent_map;
  ForeseenFile rules;  ///< for the servlet container: emptied, before a tool may write some
  /// Whether that tool, or rules that stay, decide if proxy blocks are added to the configuration.
  bool may_get_proxy_blocks = false;
  std::string printed;             ///< on standard output
  std::optional<int> exit_status;  ///< nothing when the start becomes the daemon
};

/// Foretells a start by this process, in this environment. Throws std::bad_alloc.
Forecast Foretell();

/// Foretells a start with the document `candidate` in the place of the settings document, as if the
/// launcher could read and replace it there. Throws std::bad_alloc.
Forecast ForetellWith(const std::string& candidate);

/// Returns where a text stops being a document that the launcher loads; nothing when it loads.
std::optional<DocumentFault> FaultOf(const std::string& text);

/// Loads a text as the launcher loads a settings file. Returns null when it does not load. Throws
/// std::bad_alloc.
DocumentHolder LoadText(const std::string& text);

}  // namespace qvx::companion

#endif
