#include "companion/findings.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace qvx::companion {

namespace {

const char* NameOf(Severity severity) {
  constexpr const char* kNames[] = {"note", "warning", "failure"};
  return kNames[static_cast<size_t>(severity)];
}

Colour ColourOf(Severity severity) {
  constexpr Colour kColours[] = {Colour::kBold, Colour::kYellow, Colour::kRed};
  return kColours[static_cast<size_t>(severity)];
}

std::string PlaceOf(const Finding& finding) {
  std::string place = finding.file;
  if (finding.line > 0) {
    place += ":" + std::to_string(finding.line);
    place += finding.column > 0 ? ":" + std::to_string(finding.column) : "";
  }
  return place + (finding.element.empty() ? "" : " <" + finding.element + ">");
}

/// "1 failure, 2 warnings", or "clean".
std::string Summary(const Findings& findings, const Page& page) {
  std::string text;
  for (const Severity severity : {Severity::kFailure, Severity::kWarning, Severity::kNote}) {
    const auto count = std::count_if(findings.begin(), findings.end(), [&](const Finding& finding) {
      return finding.severity == severity;
    });
    if (count > 0) {
      text.append(text.empty() ? "" : ", ").append(std::to_string(count)).append(" ");
      text.append(NameOf(severity)).append(count == 1 ? "" : "s");
    }
  }
  return text.empty() ? page.Painted(Colour::kGreen, "clean") : text;
}

/// No place is known where the number is 0.
nlohmann::ordered_json NumberOrNull(uint64_t number) {
  return number == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(number);
}

}  // namespace

void FewOfAKind::Add(Finding finding) {
  size_t& count = counts_[finding.code];
  if (++count <= kMost) {
    findings_.push_back(std::move(finding));
  }
}

bool FewOfAKind::IsFull(const char* code) const {
  const auto found = counts_.find(code);
  return found != counts_.end() && found->second >= kMost;
}

void FewOfAKind::Finish() {
  for (const auto& [code, count] : counts_) {
    if (count > kMost) {
      findings_.push_back({.code = "and-more",
                           .what = std::to_string(count - kMost) +
                                   " further findings of the kind \"" + code + "\" are left out."});
    }
  }
}

Findings CheckSettings(const Forecast& forecast) {
  Findings findings;
  CheckElements(forecast, findings);
  CheckValues(forecast, findings);
  CheckAccess(forecast, findings);
  CheckAddresses(forecast, findings);
  return findings;
}

Findings CheckAll(const Forecast& forecast, const std::string& kept) {
  Findings findings;
  CheckDocument(forecast, kept, findings);
  CheckValues(forecast, findings);
  CheckAccess(forecast, findings);
  CheckAddresses(forecast, findings);
  CheckCertificate(forecast, findings);
  CheckFiles(forecast, findings);
  CheckPrograms(forecast, findings);
  SortBySeverity(findings);
  return findings;
}

void SortBySeverity(Findings& findings) {
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& a, const Finding& b) { return a.severity > b.severity; });
}

const Finding* WhatKeepsDown(const Findings& findings) {
  const auto found = std::find_if(findings.begin(), findings.end(),
                                  [](const Finding& finding) { return finding.keeps_down; });
  return found == findings.end() ? nullptr : &*found;
}

int StatusOf(const Findings& findings) {
  int status = 0;
  for (const Finding& finding : findings) {
    status = std::max(status, static_cast<int>(finding.severity));
  }
  return status;
}

void ShowFindings(const Findings& findings, const std::string& document, Page& page) {
  for (const Finding& finding : findings) {
    if (&finding != &findings.front()) {
      page.Line("");
    }
    page.Line(page.Painted(ColourOf(finding.severity), NameOf(finding.severity)) + ": " +
              Printable(PlaceOf(finding)));
    std::vector<std::pair<std::string, std::string>> rows = {
        {"what", Printable(finding.what)}, {"a start", Printable(finding.effect)}};
    if (!finding.cure.empty()) {
      rows.emplace_back("cure", Printable(finding.cure));
    }
    page.Columns(rows);
  }
  if (!findings.empty()) {
    page.Line("");
  }
  page.Line(Summary(findings, page) + "; looked at " + Printable(document));
}

nlohmann::ordered_json FindingsAsJson(const Findings& findings) {
  nlohmann::ordered_json json;
  json["schema"] = kJsonSchema;
  json["status"] = StatusOf(findings);
  json["findings"] = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    json["findings"].push_back({{"severity", NameOf(finding.severity)},
                                {"code", finding.code},
                                {"file", finding.file},
                                {"line", NumberOrNull(finding.line)},
                                {"column", NumberOrNull(finding.column)},
                                {"element", finding.element},
                                {"what", finding.what},
                                {"effect", finding.effect},
                                {"cure", finding.cure},
                                {"keeps_down", finding.keeps_down}});
  }
  return json;
}

}  // namespace qvx::companion
