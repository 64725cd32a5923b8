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
  if (entry.text.find('-') != std::string::npos) {
    return quoted + "is a range.";
  }
  return quoted +
         (slash == std::string::npos ? "has no mask." : "is not a network with a dotted mask.");
}

void CheckBinding(const Forecast& forecast, Findings& findings) {
  const std::vector<SeenElement> elements = SettingsElements(forecast);
  const auto add = [&](Finding finding) {
    finding.file = forecast.document_path;
    finding.line = LineOf(elements, "ip-binding-list");
    finding.element = "ip-binding-list";
    finding.cure = kForm;
    findings.push_back(std::move(finding));
  };
  for (const BindingEntry& entry : BindingEntries(forecast)) {
    if (entry.selected.empty() && !entry.has_loopback) {
      add({.severity = Severity::kWarning,
           .code = "binding-entry-selects-nothing",
           .what = WhatOf(entry),
           .effect = "The entry selects nothing."});
    }
  }
  if (forecast.bind_addresses.size() == 1) {
    add({.severity = Severity::kFailure,
         .code = "binding-selects-nothing",
         .what = "The binding list selects no address.",
         .effect = "Only 127.0.0.1 has virtual hosts: the console answers nobody else."});
  }
  if (forecast.settings.bind_to_wildcard) {
    findings.push_back({.severity = Severity::kNote,
                        .code = "wildcard-ignored",
                        .file = forecast.document_path,
                        .line = LineOf(elements, "monitor-ip-changes"),
                        .element = "monitor-ip-changes",
                        .what = "ip-binding is on, too.",
                        .effect = "It follows ip-binding and ignores this setting."});
  }
}

}  // namespace

void CheckAddresses(const Forecast& forecast, Findings& findings) {
  if (forecast.settings.bind_to_selected) {
    findings.push_back(
        {.severity = Severity::kNote,
         .code = "binding-chooses-hosts",
         .file = forecast.document_path,
         .element = "ip-binding",
         .what = "The binding only chooses virtual hosts.",
         .effect = "Both ports, 2301 and 2381, listen on every address all the same.",
         .cure = "Close the ports on other addresses with a packet filter."});
    CheckBinding(forecast, findings);
    return;
  }
  if (forecast.settings.bind_to_wildcard) {
    findings.push_back(
        {.severity = Severity::kWarning,
         .code = "wildcard-refused",
         .file = forecast.document_path,
         .line = LineOf(SettingsElements(forecast), "monitor-ip-changes"),
         .element = "monitor-ip-changes",
         .what = "Debian's web server refuses the address \"*\".",
         .effect = "It writes the configuration all the same. Whether the daemon starts is "
                   "told by: qvxctl check --daemon",
         .cure = "Set monitor-ip-changes to 0."});
  }
  const char* list = SettingText(forecast.document.get(), "ip-binding-list");
  if (!ViewOf(list).empty()) {
    findings.push_back({.severity = Severity::kWarning,
                        .code = "binding-list-unused",
                        .file = forecast.document_path,
                        .line = LineOf(SettingsElements(forecast), "ip-binding-list"),
                        .element = "ip-binding-list",
                        .what = "The list is given, but ip-binding is not True.",
                        .effect = "It ignores the list.",
                        .cure = "Set ip-binding to True, or empty the list."});
  }
  if (forecast.bind_addresses.empty()) {
    findings.push_back(
        {.severity = Severity::kFailure,
         .code = "no-address",
         .file = "/sbin/ip",
         .what = "\"/sbin/ip addr\" shows no IPv4 address.",
         .effect = "It writes no virtual host: the console does not answer.",
         .cure = "Start when the network is up. Is the package iproute2 installed?"});
  }
}

}  // namespace qvx::companion
