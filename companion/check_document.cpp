// The settings document as a whole: whether it loads, and what its elements look like.
#include <algorithm>
#include <utility>

#include "companion/elements.h"
#include "companion/findings.h"
#include "companion/installation.h"
#include "companion/settings_view.h"
#include "settings/document.h"

namespace qvx::companion {

namespace {

constexpr int kFailed = static_cast<int>(Severity::kFailure);
constexpr char kEverybody[] =
    "Nobody is restricted then: everybody who reaches the machine is let in.";

bool IsDefault(const std::string& path) {
  return ReadText(path) == QVX_XML_DEFAULT;
}

/// Returns the newest kept document that loads, is not the default, and of which no failure is
/// known.
std::optional<std::string> NewestKept(const std::string& kept) {
  for (const std::string& path : KeptSettings(kept)) {
    const Forecast forecast = ForetellWith(path);
    const bool loads = forecast.document_fate == DocumentFate::kRead;
    if (loads && !IsDefault(path) && StatusOf(CheckSettings(forecast)) < kFailed) {
      return path;
    }
  }
  return std::nullopt;
}

std::string PutBack(const std::string& path) {
  return "install -o zxqvx -g zxqvx -m 660 " + Quoted(path) + " " + Quoted(SettingsPath());
}

/// Returns how to put back the newest kept document. What is no file has to go first.
std::string CureByKept(const Forecast& forecast, const std::string& kept) {
  const bool is_in_the_way =
      forecast.document_fate == DocumentFate::kUnusable && !ReadStart(SettingsPath(), 1);
  std::string cure =
      HasName(SettingsPath()) ? "Correct the file" : "Install a document (see qvxpd.xml(5))";
  if (is_in_the_way) {
    cure = "Move away what stands there";
  }
  if (const std::optional<std::string> newest = NewestKept(kept)) {
    return cure + (is_in_the_way ? "; then" : "; or") +
           " put back the last good one: " + PutBack(*newest);
  }
  return cure + " before the next start. No good document but the default is kept in " + kept + ".";
}

/// The default, with other documents kept before it. Nobody wants it when the newest of them does
/// not load: a run has replaced that one. Otherwise somebody who has started or reloaded with the
/// default has gone back to it.
void CheckDefault(const std::string& kept, Findings& findings) {
  if (!IsDefault(SettingsPath())) {
    return;
  }
  const std::vector<std::string> paths = KeptSettings(kept);
  const auto before = std::find_if_not(paths.begin(), paths.end(), IsDefault);
  const bool is_forced = before != paths.end() && FaultOf(ReadText(*before).value_or(""));
  const bool is_wanted = !is_forced && !paths.empty() && IsDefault(paths.front());
  const std::optional<std::string> newest = NewestKept(kept);
  if (is_wanted || (!is_forced && !newest)) {
    return;
  }
  Finding finding{
      .severity = Severity::kWarning,
      .code = "default-in-use",
      .file = SettingsPath(),
      .what = "This is the default document, but other settings were in use before.",
      .effect = std::string("It uses the default. ") + kEverybody,
      .cure = newest ? "Put back the last good one: " + PutBack(*newest) : "Correct the kept one."};
  if (is_forced) {
    finding.severity = Severity::kFailure;
    finding.what = "The default has taken the place of a document that did not load: " + *before;
    finding.cure += " If the default is meant, remove " + Quoted(*before) + ".";
  }
  findings.push_back(std::move(finding));
}

/// Returns the finding about a document that is not read as it is, without its place.
Finding FateOfDocument(const Forecast& forecast, const std::string& kept) {
  switch (forecast.document_fate) {
    case DocumentFate::kMade:
      return {.severity = HasName(SettingsPath()) || NewestKept(kept) ? Severity::kFailure
                                                                      : Severity::kWarning,
              .code = "document-made",
              .what = "There is no settings document that can be opened.",
              .effect = std::string("It writes the default document. ") + kEverybody,
              .cure = CureByKept(forecast, kept)};
    case DocumentFate::kSkipped:
      return {.severity = Severity::kFailure,
              .code = "document-skipped",
              .what = "The settings document cannot be opened, and no default be written.",
              .effect = std::string("Every setting counts as absent. ") + kEverybody,
              .cure = "Look at owner, mode and file system."};
    case DocumentFate::kUnusable:
      return {.severity = Severity::kFailure,
              .code = "document-unusable",
              .what = "The settings document does not load: " + forecast.fault.text +
                      ". The default cannot be written in its place.",
              .effect = "It prints \"Invalid configuration file ...\" and ends with status 1.",
              .cure = CureByKept(forecast, kept),
              .keeps_down = true};
    default:
      return {.severity = Severity::kFailure,
              .code = "document-replaced",
              .what = "The settings document does not load: " + forecast.fault.text + ".",
              .effect =
                  std::string("It replaces the document by the default, and every setting is lost, "
                              "the restrictions included. ") +
                  kEverybody,
              .cure = CureByKept(forecast, kept)};
  }
}

void CheckFate(const Forecast& forecast, const std::string& kept, Findings& findings) {
  if (forecast.document_fate == DocumentFate::kRead) {
    if (!forecast.is_candidate) {
      CheckDefault(kept, findings);
    }
    return;
  }
  Finding finding =
      forecast.is_candidate
          ? Finding{.severity = Severity::kFailure,
                    .code = "document-replaced",
                    .what = "The document does not load: " + forecast.fault.text + ".",
                    .effect = std::string("A start would replace it by the default. ") + kEverybody,
                    .cure = "Correct it before you install it."}
          : FateOfDocument(forecast, kept);
  finding.file = forecast.document_path;
  finding.line = forecast.fault.line;
  finding.column = forecast.fault.column;
  findings.push_back(std::move(finding));
}

bool IsRead(const std::vector<EffectiveSetting>& settings, const std::string& name) {
  return std::any_of(settings.begin(), settings.end(),
                     [&](const EffectiveSetting& setting) { return setting.element == name; });
}

/// Adds a finding about an element.
class ElementFindings {
 public:
  ElementFindings(const Forecast& forecast, Findings& findings)
      : file_(forecast.document_path), findings_(findings) {}
  /// Sets the place.
  void Add(const SeenElement& element, Finding finding) {
    finding.file = file_;
    finding.element = element.name;
    finding.line = element.line;
    findings_.Add(std::move(finding));
  }

  bool IsFull(const char* code) const { return findings_.IsFull(code); }
  void Finish() { findings_.Finish(); }

 private:
  const std::string& file_;
  FewOfAKind findings_;
};

bool IsBlank(const DOM_Node* node) {
  return node->nodeValue == nullptr ||
         std::string_view(node->nodeValue).find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// Where a restriction is not read as it is meant, other clients are let in.
Severity SeverityFor(const std::string& setting) {
  return setting.starts_with("ip-restricted-") ? Severity::kFailure : Severity::kWarning;
}

/// The value of a setting is the value of its first child alone.
void CheckShape(const SeenElement& element, ElementFindings& findings) {
  const DOM_Node* first = element.element->firstChild;
  if (first == nullptr) {
    return;
  }
  if (first->nodeType == DOM_COMMENT_NODE || first->nodeType == DOM_PROCESSING_INSTRUCTION_NODE) {
    findings.Add(element, {.severity = Severity::kFailure,
                           .code = "value-behind-comment",
                           .what = "A comment or instruction stands in front of the value.",
                           .effect = "It reads the comment as the value.",
                           .cure = "Move the comment out of the element."});
  } else if (first->nodeType == DOM_ELEMENT_NODE) {
    findings.Add(element, {.severity = Severity::kFailure,
                           .code = "value-nested",
                           .what = "The element holds another element in front of a value.",
                           .effect = "It takes the setting for absent.",
                           .cure = "Write the value alone into the element."});
  }
  for (const DOM_Node* next = first->nextSibling; next != nullptr; next = next->nextSibling) {
    if (next->nodeType != DOM_COMMENT_NODE && !IsBlank(next)) {
      findings.Add(element, {.severity = SeverityFor(element.name),
                             .code = "value-in-pieces",
                             .what = "The value is in several pieces.",
                             .effect = "It reads the first piece alone.",
                             .cure = "Write the value as text alone, without comments and CDATA."});
      return;
    }
  }
}

void CheckName(const SeenElement& element, const std::vector<std::string>& known,
               ElementFindings& findings) {
  const bool is_known = std::count(known.begin(), known.end(), element.name) > 0;
  if (!is_known && element.depth > 0) {
    const std::string nearest =
        findings.IsFull("element-unknown") ? "" : NearestName(element.name, known);
    findings.Add(element, {.severity = SeverityFor(nearest),
                           .code = "element-unknown",
                           .what = "The launcher does not know this element.",
                           .effect = "It ignores the element.",
                           .cure = nearest.empty() ? "Remove it." : "Is " + nearest + " meant?"});
  } else if (is_known && element.depth > 1) {
    findings.Add(
        element,
        {.severity = Severity::kWarning,
         .code = "element-nested",
         .what = "The setting is nested inside another element.",
         .effect = "It reads the setting all the same, as the first of its name counts anywhere.",
         .cure = "Put it directly into the root element."});
  }
}

}  // namespace

void CheckElements(const Forecast& forecast, Findings& all) {
  const std::vector<EffectiveSetting> settings = EffectiveSettings(forecast);
  const std::vector<std::string> known = KnownElements(forecast);
  const std::vector<SeenElement> elements = SettingsElements(forecast);
  ElementFindings findings(forecast, all);
  std::vector<std::string> seen;
  for (const SeenElement& element : elements) {
    CheckName(element, known, findings);
    if (!IsRead(settings, element.name)) {
      continue;
    }
    if (std::count(seen.begin(), seen.end(), element.name) == 0) {
      seen.push_back(element.name);
      CheckShape(element, findings);
      continue;
    }
    findings.Add(element, {.severity = SeverityFor(element.name),
                           .code = "element-repeated",
                           .what = "The element is given more than once.",
                           .effect = "It reads the first one, on line " +
                                     std::to_string(LineOf(elements, element.name)) +
                                     ", and ignores this one.",
                           .cure = "Remove all but one."});
  }
  findings.Finish();
}

void CheckDocument(const Forecast& forecast, const std::string& kept, Findings& findings) {
  CheckFate(forecast, kept, findings);
  CheckElements(forecast, findings);
}

}  // namespace qvx::companion
