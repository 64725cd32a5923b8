// Certificate and key.
#include <sys/stat.h>

#include <algorithm>
#include <ctime>

#include "companion/findings.h"
#include "companion/installation.h"
#include "companion/settings_view.h"
#include "os/directories.h"
#include "settings/multihomed_names.h"
#include "settings/setting_list.h"
#include "tls/certificate_details.h"
#include "tls/pem_files.h"
#include "tls/served_pair.h"

namespace qvx::companion {

namespace {

constexpr int64_t kFewDays = 30;

std::string RenewalOf() {
  return "QVX_CERT_REGEN=1 " + Quoted(InstallationPath("/sbin/qvxlauncher")) +
         " reconfigure, which makes a new pair and keeps no copy of the old one; then restart the "
         "daemon.";
}

/// Why a pair that stands there does not stay.
std::string WhyReplaced(const PairForecast& pair) {
  if (pair.is_deleted_first()) {
    return "QVX_CERT_REGEN is 1.";
  }
  if (!pair.facts->certificate_loads) {
    return HasName(CertificatePath()) ? "The certificate does not load."
                                      : "The certificate is missing.";
  }
  if (!pair.facts->key_loads) {
    return HasName(KeyPath()) ? "The private key does not load, or has a pass phrase."
                              : "The private key is missing.";
  }
  return pair.facts->they_match ? "The launcher's own certificate names another host."
                                : "The private key does not belong to the certificate.";
}

std::string CureOf(const PairForecast& pair) {
  const bool is_renamed = !pair.is_deleted_first() && pair.facts->they_match;
  return is_renamed
             ? "Give the host its old name back. Or correct multihomed, because its names go "
               "into the new certificate, and let the clients trust that."
             : "Install a pair that loads and matches before the start, if it is to stay.";
}

void CheckPair(const Forecast& forecast, Findings& findings) {
  const PairForecast& pair = forecast.pair;
  const auto add = [&](Finding finding) {
    finding.file = finding.file.empty() ? CertificatePath() : finding.file;
    finding.effect = PairSentence(pair);
    findings.push_back(std::move(finding));
  };
  if (pair.facts && !pair.facts->is_known) {
    add({.severity = Severity::kFailure,
         .code = "pair-unreadable-now",
         .what =
             "The certificate and key cannot be read at the moment: " + pair.facts->obstacle + ".",
         .cure = "Look for what is short, memory or open files, and for faults of the disk."});
  } else if (!pair.is_usable()) {
    add({.severity = Severity::kFailure,
         .code = "no-usable-pair",
         .file = pair.refusal.error != 0 ? pair.refusal.path : "",
         .what = "There is no usable certificate and key, and none can be made." +
                 (pair.refusal.error != 0 ? " " + WhyRefused(pair.refusal.error) : ""),
         .cure = !pair.host.empty()
                     ? "Look at what stands at cert.pem and file.pem, and at the directory."
                     : "The host name has more than 63 characters. Shorten it.",
         .keeps_down = true});
  } else if (const auto reason = pair.is_kept() ? WhyServerRefusesPair() : std::nullopt) {
    add({.severity = Severity::kFailure,
         .code = "pair-refused-by-server",
         .what = "The web server will refuse the pair: " + *reason + ".",
         .cure = "Install another pair, or let the launcher make one: " + RenewalOf(),
         .keeps_down = !forecast.bind_addresses.empty()});  // else no virtual host loads it
  } else if (!pair.is_kept()) {
    const bool is_new = !HasName(CertificatePath()) && !HasName(KeyPath());
    add({.severity = is_new ? Severity::kNote : Severity::kWarning,
         .code = "pair-replaced",
         .what = is_new ? "There is no certificate and key yet." : WhyReplaced(pair),
         .cure = is_new ? "" : CureOf(pair)});
  }
}

/// Clients look for the host among the alternative names alone.
void CheckHost(const PairForecast& pair, const CertificateDetails& details, Findings& findings) {
  if (ClientsFindHost(pair.host)) {
    return;
  }
  const bool lists_others = !details.names.empty() || !details.is_ours;
  findings.push_back(
      {.severity = lists_others ? Severity::kWarning : Severity::kNote,
       .code = "certificate-lacks-host",
       .file = CertificatePath(),
       .what = "The names of the certificate lack this host, " + pair.host + ".",
       .effect =
           "It keeps the certificate. Clients that know the console by this name refuse it or "
           "warn.",
       .cure = details.is_ours ? "Put the name into multihomed; then " + RenewalOf()
                               : "Ask its issuer for one with this name."});
}

void CheckEnd(const CertificateDetails& details, Findings& findings) {
  const int64_t days = DaysLeft(details.end, std::time(nullptr));
  if (details.begin > std::time(nullptr)) {
    findings.push_back({.severity = Severity::kWarning,
                        .code = "certificate-not-yet-valid",
                        .file = CertificatePath(),
                        .what = "The certificate is not valid yet.",
                        .effect = "It keeps the certificate all the same. Clients refuse it.",
                        .cure = "Is the clock right? Wait, or install another pair."});
  }
  if (days < kFewDays) {
    findings.push_back(
        {.severity = Severity::kWarning,
         .code = "certificate-ends",
         .file = CertificatePath(),
         .what = days < 0 ? "The certificate has ended."
                          : "The certificate ends in " + std::to_string(days) + " days.",
         .effect = "It keeps the certificate all the same. Clients refuse it after its end.",
         .cure = "Install a new pair, or let the launcher make one: " + RenewalOf()});
  }
}

void CheckNames(const Forecast& forecast, const CertificateDetails& details, Findings& findings) {
  const std::string list = MultihomedNames().value_or("");
  std::string lacking;
  std::string_view rest = list;
  while (const auto name = TakeEntry(rest)) {
    if (std::count(details.names.begin(), details.names.end(), *name) == 0) {
      lacking.append(lacking.empty() ? "" : ", ").append(*name);
    }
  }
  if (!lacking.empty() && forecast.pair.names_are_accepted) {
    findings.push_back(
        {.severity = Severity::kWarning,
         .code = "certificate-lacks-names",
         .file = CertificatePath(),
         .element = "multihomed",
         .what = "The certificate lacks names of the multihomed list: " + lacking + ".",
         .effect = "It keeps the certificate: the list counts only when a new one is made.",
         .cure = details.is_ours ? RenewalOf() : "Ask its issuer for one with these names."});
  }
}

void CheckReading(const Forecast& forecast, Findings& findings) {
  for (const std::string& path : {CertificatePath(), KeyPath()}) {
    if (forecast.pair.is_kept() && !AccountMayRead(path)) {
      findings.push_back({.severity = Severity::kWarning,
                          .code = "pair-not-readable",
                          .file = path,
                          .what = "zxqvx cannot read the file.",
                          .effect =
                              "A start works, but reconfigure runs of the daemon end with \"Cannot "
                              "start application!\".",
                          .cure = ProtectionOf(path)});
    }
  }
  if (HasName(KeyPath() + "/.")) {
    return;  // a directory, which is a finding already
  }
  const std::optional<Ownership> key = OwnershipOf(KeyPath());
  if (key && (key->mode & S_IRWXO) != 0) {
    findings.push_back({.severity = Severity::kWarning,
                        .code = "key-readable-by-others",
                        .file = KeyPath(),
                        .what = "Others than zxqvx can use the private key.",
                        .effect = "It leaves a key that it keeps as it is.",
                        .cure = ProtectionOf(KeyPath())});
  }
}

}  // namespace

void CheckCertificate(const Forecast& forecast, Findings& findings) {
  CheckPair(forecast, findings);
  if (const std::optional<CertificateDetails> details = ReadCertificateDetails();
      details && forecast.pair.is_kept()) {
    CheckHost(forecast.pair, *details, findings);
    CheckEnd(*details, findings);
    CheckNames(forecast, *details, findings);
  }
  CheckReading(forecast, findings);
}

}  // namespace qvx::companion
