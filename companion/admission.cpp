#include "companion/admission.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

#include "companion/installation.h"
#include "settings/setting_list.h"
#include "webconf/access_rules.h"

namespace qvx::companion {

namespace {

constexpr char kConnection[] = "SSH_CONNECTION";
constexpr int kMostLevels = 64;
constexpr size_t kMostVariables = 1 << 20;

/// Returns the words of a directive. The first line alone is one: a line break in an entry begins
/// another directive.
std::vector<std::string> WordsOf(const std::string& directive) {
  std::istringstream line(directive.substr(0, directive.find('\n')));
  std::vector<std::string> words;
  for (std::string word; line >> word;) {
    words.push_back(word);
  }
  words.erase(words.begin(), words.begin() + std::min<long>(2, static_cast<long>(words.size())));
  return words;
}

AccessEntry EntryFrom(bool allows, std::string_view text, const std::string& directive) {
  return {allows, std::string(text), directive, WordsOf(directive)};
}

/// The launcher generates an entry alone as it does among others, but for the line that it adds.
void AddInclude(std::string_view list, std::vector<AccessEntry>& entries) {
  entries.push_back(EntryFrom(true, "", std::string(list.empty() ? kAllowAll : kAllowLoopback)));
  while (const auto entry = TakeEntry(list)) {
    entries.push_back(
        EntryFrom(true, *entry, AccessDirectives(*entry, "").substr(kAllowLoopback.size())));
  }
}

void AddExclude(std::string_view list, std::vector<AccessEntry>& entries) {
  while (const auto entry = TakeEntry(list)) {
    entries.push_back(
        EntryFrom(false, *entry, AccessDirectives("", *entry).substr(kAllowAll.size())));
  }
}

/// Why an entry that holds an address decides about it.
std::string ReasonOf(const AccessEntry& entry) {
  if (entry.text.empty()) {
    return entry.words.empty() || entry.words[0] == "all"
               ? "The empty include list lets everybody in."
               : "127.0.0.1 is always let in.";
  }
  return (entry.allows ? "The include entry " : "The exclude entry ") + entry.text + " holds it.";
}

const AccessEntry* FirstMatch(const std::vector<AccessEntry>& entries, bool allows,
                              const std::string& address) {
  const Subnets subnets;
  const auto matches = [&](const AccessEntry& entry) {
    return entry.allows == allows &&
           std::any_of(entry.words.begin(), entry.words.end(),
                       [&](const std::string& word) { return subnets.Matches(word, address); });
  };
  const auto found = std::find_if(entries.begin(), entries.end(), matches);
  return found == entries.end() ? nullptr : &*found;
}

/// The variable begins with the address.
std::string PeerFrom(const char* connection) {
  const std::string text = connection != nullptr ? connection : "";
  return text.substr(0, text.find(' '));
}

pid_t ParentFrom(const std::string& status) {
  constexpr std::string_view kParent = "\nPPid:";
  const size_t found = status.find(kParent);
  return found == std::string::npos ? 0 : std::atoi(&status[found + kParent.size()]);
}

/// Returns the entries of a configuration that the launcher has written; none when it restricts
/// nobody. Other lines among them count as a part of the last one.
std::vector<AccessEntry> EntriesOf(std::string_view configuration) {
  constexpr std::string_view kStart = "\norder allow,deny\n";
  constexpr std::string_view kAllow = "allow from";
  constexpr std::string_view kDeny = "deny from";
  constexpr std::string_view kEnd = "</Directory>";
  std::vector<AccessEntry> entries;
  const size_t start = configuration.find(kStart);
  std::string_view rest =
      start == std::string_view::npos ? "" : configuration.substr(start + kStart.size());
  while (!rest.empty() && !rest.starts_with(kEnd)) {
    const std::string line(rest.substr(0, rest.find('\n')));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (!line.starts_with(kAllow) && !line.starts_with(kDeny)) {
      (entries.empty() ? entries.emplace_back() : entries.back()).directive += line + "\n";
      continue;
    }
    const bool allows = line.starts_with(kAllow);
    const size_t behind = (allows ? kAllow : kDeny).size() + 1;
    const bool is_implicit = entries.empty();
    entries.push_back(EntryFrom(
        allows, is_implicit ? "" : line.substr(std::min(behind, line.size())), line + "\n"));
  }
  return entries;
}

Admission AdmitBy(const std::vector<AccessEntry>& entries, const std::string& address) {
  Admission admission{address, Subnets::IsAddress(address)};
  if (!admission.is_address) {
    admission.reason = "It is not an address.";
    return admission;
  }
  if (entries.empty()) {
    admission.is_admitted = true;
    admission.reason = "Nobody is restricted: ip-restricted-logins is not True.";
    return admission;
  }
  const AccessEntry* allowing = FirstMatch(entries, true, address);
  const AccessEntry* denying = FirstMatch(entries, false, address);
  admission.is_admitted = allowing != nullptr && denying == nullptr;
  const bool are_lines = std::none_of(entries.begin(), entries.end(), [](const auto& entry) {
    return entry.joins_next_line() || entry.breaks_line();
  });
  admission.is_certain = are_lines && (denying != nullptr ||
                                       std::none_of(entries.begin(), entries.end(), IsUncertain));
  admission.reason = "No include entry holds it.";
  if (denying != nullptr) {
    admission.reason = ReasonOf(*denying);
  } else if (allowing != nullptr) {
    admission.reason = ReasonOf(*allowing);
  }
  return admission;
}

}  // namespace

std::vector<AccessEntry> AccessEntries(const Forecast& forecast) {
  std::vector<AccessEntry> entries;
  if (forecast.settings.restrict_clients) {
    AddInclude(ViewOf(forecast.settings.included_clients), entries);
    AddExclude(ViewOf(forecast.settings.excluded_clients), entries);
  }
  return entries;
}

std::vector<Span> SpansOf(const AccessEntry& entry) {
  std::vector<Span> spans;
  for (const std::string& word : entry.words) {
    if (const std::optional<Span> span = SpanOf(word)) {
      spans.push_back(*span);
    }
  }
  return Merged(std::move(spans));
}

std::vector<Span> Merged(std::vector<Span> spans) {
  std::sort(spans.begin(), spans.end(),
            [](const Span& a, const Span& b) { return a.first < b.first; });
  std::vector<Span> merged;
  for (const Span& span : spans) {
    const bool joins = !merged.empty() &&
                       (merged.back().last == UINT32_MAX || span.first <= merged.back().last + 1);
    if (joins) {
      merged.back().last = std::max(merged.back().last, span.last);
    } else {
      merged.push_back(span);
    }
  }
  return merged;
}

Admission Admit(const Forecast& forecast, const std::string& address) {
  return AdmitBy(AccessEntries(forecast), address);
}

std::optional<Admission> AdmitNow(const Forecast& forecast, const std::string& address) {
  const std::optional<std::string> text = ReadText(forecast.server_conf.path);
  return text ? std::optional(AdmitBy(EntriesOf(*text), address)) : std::nullopt;
}

bool IsUncertain(const AccessEntry& entry) {
  const Subnets subnets;
  return std::any_of(entry.words.begin(), entry.words.end(), [&](const std::string& word) {
    const WordKind kind = subnets.KindOf(word);
    return kind == WordKind::kHostName || kind == WordKind::kOther;
  });
}

std::string SshPeer() {
  std::string peer = PeerFrom(std::getenv(kConnection));
  pid_t process = getppid();
  for (int i = 0; peer.empty() && process > 1 && i < kMostLevels; ++i) {
    const std::string folder = "/proc/" + std::to_string(process);
    const std::string variables = ReadStart(folder + "/environ", kMostVariables).value_or("");
    const std::string start = std::string("\0", 1) + kConnection + "=";
    const size_t found = (std::string("\0", 1) + variables).find(start);
    peer = found == std::string::npos ? "" : PeerFrom(&variables[found + start.size() - 1]);
    process = ParentFrom(ReadStart(folder + "/status", kMostVariables).value_or(""));
  }
  return peer;
}

void ShowAdmission(const Admission& admission, const std::string& when, Page& page) {
  std::string verdict = admission.is_admitted ? "let in" : "refused";
  verdict = admission.is_address ? verdict : "unknown";
  page.Line(
      Printable(admission.address) + ", " + when + ": " +
      page.Painted(admission.is_admitted ? Colour::kGreen : Colour::kRed, verdict) + ". " +
      Printable(admission.reason) +
      (admission.is_certain
           ? ""
           : " That is not certain: an entry is a name, or the server reads it in another way."));
}

nlohmann::ordered_json AdmissionAsJson(const Admission& admission) {
  return {{"address", admission.address},
          {"is_address", admission.is_address},
          {"admitted", admission.is_admitted},
          {"certain", admission.is_certain},
          {"reason", admission.reason}};
}

}  // namespace qvx::companion
