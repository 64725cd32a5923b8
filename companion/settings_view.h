// The settings as they are written and as they take effect.
#ifndef QVX_COMPANION_SETTINGS_VIEW_H
#define QVX_COMPANION_SETTINGS_VIEW_H

#include <optional>
#include <string>
#include <vector>

#include "companion/forecast.h"

namespace qvx::companion {

struct EffectiveSetting {
  const char* element;
  std::optional<std::string> written;  ///< nothing when the document does not have the element
  std::string effective;               ///< what the launcher has read, in the document's words
  std::string accepted;                ///< values; empty when a text is taken as it stands
};

/// Returns every setting that the launcher reads.
std::vector<EffectiveSetting> EffectiveSettings(const Forecast& forecast);

/// An entry of the binding list.
struct BindingEntry {
  std::string text;
  bool is_network;                    ///< an address and a mask
  bool has_loopback;                  ///< 127.0.0.1, which is always bound, is in the network
  std::vector<std::string> selected;  ///< addresses besides that
};

/// Returns the entries of the binding list, each as if it stood alone. The cost grows with the
/// product of entries and addresses.
std::vector<BindingEntry> BindingEntries(const Forecast& forecast);

/// An address with its virtual hosts.
struct BoundAddress {
  std::string address;
  std::string interface;  ///< empty when no interface has the address
  std::string entry;      ///< the entry of the binding list that decided; empty without one
};
std::vector<BoundAddress> BoundAddresses(const Forecast& forecast);

/// Returns the access directives, line by line; none while nobody is restricted.
std::vector<std::string> AccessLines(const Forecast& forecast);

/// Returns the whole days from `now` to `end`, negative when it has passed.
int64_t DaysLeft(time_t end, time_t now);

/// Returns the sentence for what a start does about the certificate.
std::string PairSentence(const PairForecast& pair);

}  // namespace qvx::companion

#endif
