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

std::string Truth(bool value) {
  return value ? "True" : "False";
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

bool HasLoopback(const std::string& network) {
  const size_t slash = std::min(network.find('/'), network.size());
  in_addr address{};
  in_addr mask{};
  return inet_pton(AF_INET, network.substr(0, slash).c_str(), &address) == 1 &&
         inet_pton(AF_INET, network.substr(std::min(slash + 1, network.size())).c_str(), &mask) ==
             1 &&
         ((address.s_addr ^ htonl(INADDR_LOOPBACK)) & mask.s_addr) == 0;
}

}  // namespace

std::vector<EffectiveSetting> EffectiveSettings(const Forecast& forecast) {
  const LoadedSettings& settings = forecast.settings;
  const auto row = [&](const char* element, std::string effective, bool is_list = false) {
    const char* written = SettingText(forecast.document.get(), element);
    return EffectiveSetting{element, written ? std::optional<std::string>(written) : std::nullopt,
                            std::move(effective), is_list};
  };
  const auto text = [](const char* list) { return std::string(ViewOf(list)); };
  const char* names = SettingText(forecast.document.get(), "multihomed");
  return {
      row("ip-restricted-logins", Truth(settings.restrict_clients)),
      row("ip-restricted-include", text(settings.included_clients), true),
      row("ip-restricted-exclude", text(settings.excluded_clients), true),
      row("ip-binding", Truth(settings.bind_to_selected)),
      row("ip-binding-list", text(settings.binding_list), true),
      row("monitor-ip-changes", settings.bind_to_wildcard ? "1" : "0"),
      row("rotate-logs", settings.rotate_logs ? "1" : "2"),
      row("rotate-logs-size", std::to_string(settings.rotate_size)),
      row("log-base-dir", settings.log_directory ? settings.log_directory : LogPath(), true),
      row("disable-sslv2", Truth(settings.refuse_ssl2)),
      row("max-threads", std::to_string(settings.max_threads)),
      row("log-level", settings.log_level),
      row("multihomed", names != nullptr && IsNameList(names) ? names : "", true),
  };
}

std::vector<BindingEntry> BindingEntries(const Forecast& forecast) {
  std::vector<BindingEntry> entries;
  std::string_view list = ViewOf(forecast.settings.binding_list);
  while (const auto text = TakeEntry(list)) {
    auto selected = SelectBindAddresses(
        forecast.available,
        {.is_to_selected = true, .is_to_wildcard = false, .binding_list = *text});
    selected.erase(selected.begin());
    entries.push_back({.text = std::string(*text),
                       .is_network = IsNetworkEntry(*text),
                       .has_loopback = HasLoopback(std::string(*text)),
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
  if (pair.is_deleted_first) {
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
