// Who is let in: the access directives that a start writes, evaluated as the web server does.
//
// Under "order allow,deny" an address is let in when an allow line matches it and no deny line
// does.
#ifndef QVX_COMPANION_ADMISSION_H
#define QVX_COMPANION_ADMISSION_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "companion/forecast.h"
#include "companion/presentation.h"
#include "companion/subnets.h"

namespace qvx::companion {

/// One entry of a restriction list, or what the launcher adds by itself.
struct AccessEntry {
  bool allows;
  std::string text;                ///< as it is written; empty for what the launcher adds
  std::string directive;           ///< the lines that it becomes; empty when it is left out
  std::vector<std::string> words;  ///< behind "allow from" or "deny from"

  /// Returns whether the server takes the line that follows for a part of this one.
  bool joins_next_line() const { return directive.find("\\\n") != std::string::npos; }
  /// Returns whether a part of the entry becomes another directive.
  bool breaks_line() const { return directive.find('\n') + 1 != directive.size(); }
};

/// Returns the entries in the order of their lines; none while nobody is restricted.
std::vector<AccessEntry> AccessEntries(const Forecast& forecast);

/// Returns the addresses in order and without overlaps.
std::vector<Span> Merged(std::vector<Span> spans);

/// Returns the addresses of an entry, in order and without overlaps.
std::vector<Span> SpansOf(const AccessEntry& entry);

struct Admission {
  std::string address;
  bool is_address;  ///< false: it is not an address, and nothing else is known
  bool is_admitted = false;
  bool is_certain = true;  ///< false when an entry is a name, or is read in another way
  std::string reason{};    ///< a sentence
};
Admission Admit(const Forecast& forecast, const std::string& address);

/// The same by the server's configuration on disk, which the daemon has read unless it was changed
/// since. Returns nothing when there is none.
std::optional<Admission> AdmitNow(const Forecast& forecast, const std::string& address);

/// Returns whether the server may take the entry for other addresses than this program does.
bool IsUncertain(const AccessEntry& entry);

/// Returns the peer of the SSH session that this process belongs to, or an empty text. A program
/// such as sudo takes the variable away, so the processes above this one are asked, too.
std::string SshPeer();

/// `when` is "at the next start" or "now".
void ShowAdmission(const Admission& admission, const std::string& when, Page& page);
nlohmann::ordered_json AdmissionAsJson(const Admission& admission);

}  // namespace qvx::companion

#endif
