#include "companion/settings_view.h"

#include <arpa/inet.h>

#include <algorithm>
#include <map>
#include <string_view>

#include "companion/installation.h"
#include "os/directories.h"
#include "settings/bind_addresses.h"
#include "settings/document.h"
#include "settings/interface_addresses.h"
#include "settings/multihomed_names.h"
#include "settings/setting_list.h"
#include "tls/pem_files.h"
#include "webconf/access_rules.h"

namespace qvx::companion {

namespace {

constexpr int64_t kSecondsPerDay = 86400;
constexpr char kLoopback[] = "127.0.0.1";

// Each puts into the document's words what a setting is, and what it may be.

void Put(const Flag& flag, const LoadedSettings& settings, EffectiveSetting& view) {
  const std::string on = flag.on;
  const std::string off = flag.off;
  view.effective = settings.*flag.field ? on : off;
  view.accepted = on == "True" ? on + " or " + off : on + " (on) or " + off + " (off)";
}

void Put(const Number& number, const LoadedSettings& settings, EffectiveSetting& view) {
  view.effective = std::to_string(settings.*number.field);
  view.accepted =
      "a number from " + std::to_string(number.least) + " to " + std::to_string(number.most);
}

void Put(const Word& word, const LoadedSettings& settings, EffectiveSetting& view) {
  view.effective = settings.*word.field;
  view.accepted = word.words.front();
  for (const std::string_view other : word.words.subspan(1)) {
    view.accepted.append(other == word.words.back() ? " or " : ", ").append(other);
  }
}

void Put(const Text& text, const LoadedSettings& settings, EffectiveSetting& view) {
  const bool is_default = text.field == &LoadedSettings::log_directory && !settings.log_directory;
  view.effective = is_default ? LogPath() : std::string(ViewOf(settings.*text.field));
}

std::string Dotted(uint32_t address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, text, sizeof text);
  return text;
}

/// Returns the name of an interface from the line that opens its part of the output, "2: eth0:
/// ...".
std::string InterfaceName(std::string_view line) {
  const size_t start = std::min(line.find(": "), line.size() - 1) + 2;
  const std::string_view name = line.substr(std::min(start, line.size()));
  return std::string(name.substr(0, name.find_first_of(":@ \n")));
}

/// Returns the interface of each address. The parts of the output are read by the same function as
/// the whole.
std::map<std::string, std::string> Interfaces(std::string_view text) {
  std::map<std::string, std::string> interfaces;
  while (!text.empty()) {
    size_t end = text.find('\n');
    while (end != std::string_view::npos && end + 1 < text.size() && text[end + 1] == ' ') {
      end = text.find('\n', end + 1);
    }
    const std::string_view part = text.substr(0, end);
    for (const uint32_t address : ParseInterfaceAddresses(part)) {
      interfaces.emplace(Dotted(address), InterfaceName(part.substr(0, part.find('\n'))));
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return interfaces;
}

}  // namespace

std::vector<EffectiveSetting> EffectiveSettings(const Forecast& forecast) {
  std::vector<EffectiveSetting> settings;
  const auto add = [&](const char* element) -> EffectiveSetting& {
    const char* written = SettingText(forecast.document.get(), element);
    return settings.emplace_back(EffectiveSetting{
        element, written ? std::optional<std::string>(written) : std::nullopt, "", ""});
  };
  for (const Setting& row : kSettingRows) {
    EffectiveSetting& view = add(row.element);
    std::visit([&](const auto& kind) { Put(kind, forecast.settings, view); }, row.kind);
  }
  EffectiveSetting& names = add("multihomed");
  names.effective = names.written && IsNameList(*names.written) ? *names.written : "";
  return settings;
}

std::vector<BindingEntry> BindingEntries(const Forecast& forecast) {
  std::vector<BindingEntry> entries;
  std::string_view list = ViewOf(forecast.settings.binding_list);
  while (const auto text = TakeEntry(list)) {
    auto selected = SelectBindAddresses(
        forecast.available, {.bind_to_selected = true, .binding_list = std::string(*text).c_str()});
    selected.erase(selected.begin());
    const std::optional<Network> network = NetworkOf(*text);
    entries.push_back({.text = std::string(*text),
                       .is_network = network.has_value(),
                       .has_loopback = network && network->Holds(htonl(INADDR_LOOPBACK)),
                       .selected = std::move(selected)});
  }
  return entries;
}

std::vector<BoundAddress> BoundAddresses(const Forecast& forecast) {
  std::map<std::string, std::string> deciding;
  if (forecast.settings.bind_to_selected) {
    for (const BindingEntry& entry : BindingEntries(forecast)) {
      for (const std::string& address : entry.selected) {
        deciding.emplace(address, entry.text);  // the first entry decides
      }
    }
    deciding.emplace(kLoopback, "the rule that it is always bound");
  }
  const auto interfaces = Interfaces(forecast.interface_text);
  const auto text_for = [](const std::map<std::string, std::string>& texts,
                           const std::string& address) {
    const auto found = texts.find(address);
    return found == texts.end() ? "" : found->second;
  };
  std::vector<BoundAddress> bound;
  bound.reserve(forecast.bind_addresses.size());
  for (const std::string& address : forecast.bind_addresses) {
    bound.push_back({address, text_for(interfaces, address), text_for(deciding, address)});
  }
  return bound;
}

std::vector<std::string> AccessLines(const Forecast& forecast) {
  std::vector<std::string> lines;
  if (!forecast.settings.restrict_clients) {
    return lines;
  }
  const std::string text = AccessDirectives(ViewOf(forecast.settings.included_clients),
                                            ViewOf(forecast.settings.excluded_clients));
  for (size_t start = 0, end = 0; (end = text.find('\n', start)) != std::string::npos;
       start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  return lines;
}

int64_t DaysLeft(time_t end, time_t now) {
  const int64_t seconds = end - now;
  return seconds >= 0 ? seconds / kSecondsPerDay
                      : -((-seconds + kSecondsPerDay - 1) / kSecondsPerDay);
}

std::string PairSentence(const PairForecast& pair) {
  if (!pair.facts) {
    return "The TLS library cannot be used: a start ends with \"Cannot start application!\".";
  }
  if (!pair.facts->is_known) {
    return "A start that cannot read it either keeps it, and ends with \"Cannot start "
           "application!\".";
  }
  if (pair.is_kept()) {
    return "A start keeps it.";
  }
  if (!pair.is_usable()) {
    return "A start cannot use it and cannot make another: it ends with \"Cannot start "
           "application!\".";
  }
  if (pair.is_deleted_first()) {
    return "A start deletes it, because QVX_CERT_REGEN is 1, and makes a new pair.";
  }
  if (pair.fate == PairFate::kReplace) {
    return "A start replaces it: the launcher issued it for another host name.";
  }
  return HasName(CertificatePath()) || HasName(KeyPath())
             ? "A start makes a new pair, and sets aside what stands there."
             : "A start makes a new pair.";
}

}  // namespace qvx::companion
