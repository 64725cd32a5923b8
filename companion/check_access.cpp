// The restriction of client addresses.
#include <algorithm>
#include <optional>
#include <utility>

#include "companion/admission.h"
#include "companion/elements.h"
#include "companion/findings.h"
#include "companion/overlaps.h"
#include "companion/settings_view.h"
#include "settings/document.h"
#include "settings/setting_list.h"
#include "webconf/access_rules.h"

namespace qvx::companion {

namespace {

constexpr char kInclude[] = "ip-restricted-include";
constexpr char kExclude[] = "ip-restricted-exclude";
constexpr char kStaysDown[] = "It writes a line that the daemon refuses: the console stays down.";
constexpr char kForm[] =
    "Separate addresses and ranges START-END by \";\", without blanks, the lower address first.";

/// Adds findings about entries of one list.
class ListFindings {
 public:
  ListFindings(const Forecast& forecast, Findings& findings)
      : file_(forecast.document_path), elements_(SettingsElements(forecast)), findings_(findings) {}

  /// Sets the place.
  void Add(bool allows, Finding finding) const {
    finding.file = file_;
    finding.element = allows ? kInclude : kExclude;
    finding.line = LineOf(elements_, finding.element);
    findings_.Add(std::move(finding));
  }
  void Finish() const { findings_.Finish(); }

 private:
  const std::string& file_;
  const std::vector<SeenElement> elements_;
  mutable FewOfAKind findings_;
};

bool IsRange(const AccessEntry& entry) {
  const size_t dash = entry.text.find('-');
  return dash != std::string::npos && dash + 1 < entry.text.size();
}

/// A text that is not an address counts as the highest one at the end of a range.
bool GoesUpByMistake(const AccessEntry& entry) {
  const std::vector<Span> spans = SpansOf(entry);
  const bool goes_up = std::any_of(spans.begin(), spans.end(),
                                   [](const Span& span) { return span.last == UINT32_MAX; });
  return IsRange(entry) && goes_up && !entry.text.ends_with("-255.255.255.255");
}

/// Returns the fault of the whole text of an entry, if there is one.
std::optional<Finding> FaultOfText(const AccessEntry& entry) {
  const std::string quoted = "\"" + entry.text + "\" ";
  if (entry.directive.empty() ||
      (entry.words == std::vector<std::string>{"all"} && entry.text.size() > kLongestEntry)) {
    return Finding{
        .severity = Severity::kFailure,
        .code = "entry-too-long",
        .what = quoted + "has more than " + std::to_string(kLongestEntry) + " characters.",
        .effect = entry.allows ? "It leaves the entry out." : "It refuses everybody."};
  }
  if (entry.breaks_line()) {
    return Finding{
        .severity = Severity::kFailure,
        .code = "entry-line-break",
        .what = quoted + "holds a line break.",
        .effect =
            "It writes the rest as a line of its own, which the daemon takes for a directive "
            "or refuses."};
  }
  if (entry.joins_next_line()) {
    return Finding{.severity = Severity::kFailure,
                   .code = "entry-joins-lines",
                   .what = quoted + "ends in a backslash.",
                   .effect =
                       "The daemon joins the next line to it: what the next entry refuses is "
                       "let in, or the console stays down."};
  }
  if (entry.words.empty()) {
    return Finding{.severity = Severity::kFailure,
                   .code = "range-reversed",
                   .what = quoted + "is a reversed range, or its start is not an address.",
                   .effect = kStaysDown,
                   .keeps_down = true};
  }
  if (GoesUpByMistake(entry)) {
    return Finding{
        .severity = Severity::kFailure,
        .code = "range-end",
        .what = quoted + "has an end that is not an address, perhaps because of a blank.",
        .effect = std::string("The range goes up to 255.255.255.255: it ") +
                  (entry.allows ? "lets in" : "refuses") + " far more than is meant."};
  }
  return std::nullopt;
}

/// Returns the fault of a word that is no subnet.
std::optional<Finding> FaultOfWord(const std::string& word, WordKind kind) {
  const std::string quoted = "\"" + word + "\" ";
  if (kind == WordKind::kRefused) {
    return Finding{.severity = Severity::kFailure,
                   .code = "word-refused",
                   .what = quoted + "is not an address.",
                   .effect = kStaysDown,
                   .keeps_down = true};
  }
  if (kind == WordKind::kOther) {
    return Finding{.severity = Severity::kFailure,
                   .code = "word-expanded",
                   .what = quoted + "is in quotes, or names a variable.",
                   .effect =
                       "The daemon takes it for something else: it may let in or refuse "
                       "others than are meant."};
  }
  if (kind == WordKind::kHostName) {
    const bool has_comma = word.find(',') != std::string::npos;
    return Finding{.severity = has_comma ? Severity::kFailure : Severity::kWarning,
                   .code = "word-host-name",
                   .what = quoted + (has_comma ? "holds a comma in the place of a semicolon."
                                               : "is not an address, but a name to the daemon."),
                   .effect =
                       "The daemon compares it with the client's name in the name service, so the "
                       "entry usually matches nobody."};
  }
  return std::nullopt;
}

/// Adds the first fault of an entry.
void CheckEntry(const AccessEntry& entry, const Subnets& subnets, const ListFindings& findings) {
  std::optional<Finding> fault = FaultOfText(entry);
  for (auto word = entry.words.begin(); !fault && word != entry.words.end(); ++word) {
    fault = FaultOfWord(*word, subnets.KindOf(*word));
  }
  if (fault) {
    fault->cure = kForm;
    findings.Add(entry.allows, std::move(*fault));
  }
}

void DescribeOverlap(const AccessEntry& entry, const AccessEntry& other, Overlap::Kind kind,
                     const ListFindings& findings) {
  const std::string quoted = "\"" + entry.text + "\" ";
  const std::string by = "\"" + other.text + "\".";
  switch (kind) {
    case Overlap::Kind::kRefused:
      findings.Add(true, {.severity = Severity::kWarning,
                          .code = "entry-excluded",
                          .what = quoted + "is refused by the exclude entry " + by,
                          .effect = "Nobody is let in by this entry.",
                          .cure = "Remove one of the two."});
      return;
    case Overlap::Kind::kCovered:
      findings.Add(entry.allows, {.severity = Severity::kNote,
                                  .code = "entry-covered",
                                  .what = quoted + "is covered by " + by,
                                  .effect = "The entry changes nothing.",
                                  .cure = "Remove it."});
      return;
    case Overlap::Kind::kShared:
      findings.Add(entry.allows, {.severity = Severity::kNote,
                                  .code = "entry-overlaps",
                                  .what = quoted + "overlaps with " + by,
                                  .effect = "The common addresses count once."});
  }
}

/// Whether no address but that of this machine is let in. A name may be any address.
bool NobodyIsLetIn(const std::vector<AccessEntry>& entries) {
  std::vector<Span> refused;
  for (const AccessEntry& entry : entries) {
    if (!entry.allows) {
      const std::vector<Span> spans = SpansOf(entry);
      refused.insert(refused.end(), spans.begin(), spans.end());
    }
  }
  const std::vector<Span> all = Merged(refused);
  const auto is_refused = [&all](const Span& span) {
    return std::any_of(all.begin(), all.end(), [&span](const Span& other) {
      return other.first <= span.first && span.last <= other.last;
    });
  };
  return !all.empty() && std::none_of(entries.begin(), entries.end(), [&](const auto& entry) {
    const std::vector<Span> spans = SpansOf(entry);
    const bool is_own = entry.words == std::vector<std::string>{"127.0.0.1"};
    return entry.allows && !is_own &&
           (IsUncertain(entry) || !std::all_of(spans.begin(), spans.end(), is_refused));
  });
}

void CheckLists(const Forecast& forecast, const std::vector<AccessEntry>& entries,
                const ListFindings& findings) {
  const std::string_view include = ViewOf(forecast.settings.included_clients);
  if (NobodyIsLetIn(entries)) {
    findings.Add(false, {.severity = Severity::kWarning,
                         .code = "nobody-let-in",
                         .what = "The lists let in nobody but, perhaps, this machine.",
                         .effect = "It writes the lists as they are: everybody is refused.",
                         .cure = "Exclude fewer addresses, or include those of administrators."});
  } else if (include.empty()) {
    const bool excludes = !ViewOf(forecast.settings.excluded_clients).empty();
    findings.Add(true, {.severity = excludes ? Severity::kNote : Severity::kWarning,
                        .code = "include-empty",
                        .what = "The include list is empty, and the restriction is on.",
                        .effect = excludes ? "It lets everybody in, but for the exclude list."
                                           : "It lets everybody in.",
                        .cure = excludes ? "" : kForm});
  } else if (include.find_first_not_of(';') == std::string_view::npos) {
    findings.Add(true, {.severity = Severity::kWarning,
                        .code = "include-no-entry",
                        .what = "The include list has no entry.",
                        .effect = "It lets in 127.0.0.1 alone.",
                        .cure = kForm});
  }
}

/// Lists without the restriction have no effect.
void CheckUnused(const Forecast& forecast, const ListFindings& findings) {
  for (const bool allows : {true, false}) {
    const char* list = SettingText(forecast.document.get(), allows ? kInclude : kExclude);
    if (!ViewOf(list).empty()) {
      findings.Add(allows, {.severity = Severity::kWarning,
                            .code = "list-unused",
                            .what = "The list is given, but the restriction is off.",
                            .effect = "It ignores the list and lets everybody in.",
                            .cure = "Set ip-restricted-logins to True, or empty the list."});
    }
  }
}

}  // namespace

void CheckAccess(const Forecast& forecast, Findings& all) {
  const ListFindings findings(forecast, all);
  if (!forecast.settings.restrict_clients) {
    CheckUnused(forecast, findings);
    return;
  }
  const std::vector<AccessEntry> entries = AccessEntries(forecast);
  CheckLists(forecast, entries, findings);
  const Subnets subnets;
  for (const AccessEntry& entry : entries) {
    if (!entry.text.empty()) {
      CheckEntry(entry, subnets, findings);
    }
  }
  for (const Overlap& overlap : OverlapsOf(entries)) {
    DescribeOverlap(entries[overlap.entry], entries[overlap.other], overlap.kind, findings);
  }
  findings.Finish();
}

void CheckPeer(const Forecast& forecast, const Admission& peer, Findings& all) {
  if (peer.is_address && !peer.is_admitted) {
    const ListFindings findings(forecast, all);
    findings.Add(true, {.severity = Severity::kWarning,
                        .code = "peer-refused",
                        .what = "The address from which you are here, " + peer.address +
                                ", is refused. " + peer.reason,
                        .effect = "You do not reach the console from there any more.",
                        .cure = "Put the address into the include list."});
  }
}

}  // namespace qvx::companion
