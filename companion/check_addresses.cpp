// The addresses with virtual hosts.
#include "companion/elements.h"
#include "companion/findings.h"
#include "companion/settings_view.h"
#include "settings/document.h"
#include "settings/setting_list.h"

namespace qvx::companion {

namespace {

constexpr char kForm[] =
    "Separate networks by \";\", each as ADDRESS/MASK with a dotted mask: 10.1.1.0/255.255.255.0.";

std::string WhatOf(const BindingEntry& entry) {
  const std::string quoted = "\"" + entry.text + "\" ";
  if (entry.is_network) {
    return quoted + "holds no address of this machine besides 127.0.0.1.";
  }
  const size_t slash = entry.text.find('/');
  if (slash != std::string::npos && entry.text.find('.', slash) == std::string::npos) {
    return quoted + "has a prefix length in the place of a dotted mask.";
  }
  return quoted + (entry.text.find('-') != std::string::npos ? "is a range."
                   : slash == std::string::npos              ? "has no mask."
                                                : "is not a network with a dotted mask.");
}

void CheckBinding(const Forecast& forecast, Findings& findings) {
  const std::vector<SeenElement> elements = SettingsElements(forecast);
  const auto add = [&](Severity severity, std::string what, std::string effect) {
    findings.push_back({severity, SettingsPath(), LineOf(elements, "ip-binding-list"), 0,
                        "ip-binding-list", std::move(what), std::move(effect), kForm});
  };
  for (const BindingEntry& entry : BindingEntries(forecast)) {
    if (entry.selected.empty()) {
      add(Severity::kWarning, WhatOf(entry), "The entry selects nothing.");
    }
  }
  if (forecast.bind_addresses.size() == 1) {
    add(Severity::kFailure, "The binding list selects no address.",
        "Only 127.0.0.1 has virtual hosts: the console answers nobody else.");
  }
  if (forecast.settings.bind_to_wildcard) {
    findings.push_back({Severity::kNote, SettingsPath(), LineOf(elements, "monitor-ip-changes"), 0,
                        "monitor-ip-changes", "ip-binding is on, too.",
                        "It follows ip-binding and ignores this setting.", ""});
  }
}

}  // namespace

void CheckAddresses(const Forecast& forecast, Findings& findings) {
  if (forecast.settings.bind_to_selected) {
    findings.push_back({Severity::kNote, SettingsPath(), 0, 0, "ip-binding",
                        "The binding only chooses virtual hosts.",
                        "Both ports, 2301 and 2381, listen on every address all the same.",
                        "Close the ports on other addresses with a packet filter."});
    CheckBinding(forecast, findings);
    return;
  }
  if (forecast.settings.bind_to_wildcard) {
    findings.push_back({Severity::kWarning, SettingsPath(),
                        LineOf(SettingsElements(forecast), "monitor-ip-changes"), 0,
                        "monitor-ip-changes", "Debian's web server refuses the address \"*\".",
                        "It writes the configuration all the same. Whether the daemon starts is "
                        "told by: qvxctl check --daemon",
                        "Set monitor-ip-changes to 0."});
  }
  const char* list = SettingText(forecast.document.get(), "ip-binding-list");
  if (!ViewOf(list).empty()) {
    findings.push_back({Severity::kWarning, SettingsPath(),
                        LineOf(SettingsElements(forecast), "ip-binding-list"), 0, "ip-binding-list",
                        "The list is given, but ip-binding is not True.", "It ignores the list.",
                        "Set ip-binding to True, or empty the list."});
  }
  if (forecast.bind_addresses.empty()) {
    findings.push_back({Severity::kFailure, "/sbin/ip", 0, 0, "",
                        "\"/sbin/ip addr\" shows no IPv4 address.",
                        "It writes no virtual host: the console does not answer.",
                        "Start when the network is up. Is the package iproute2 installed?"});
  }
}

}  // namespace qvx::companion
