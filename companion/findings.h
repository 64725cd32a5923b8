// What the command "check" finds: each fault of an installation with its place, what a start makes
// of it, and the cure.
#ifndef QVX_COMPANION_FINDINGS_H
#define QVX_COMPANION_FINDINGS_H

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "companion/admission.h"
#include "companion/forecast.h"
#include "companion/presentation.h"

namespace qvx::companion {

enum class Severity {
  kNote,     ///< worth knowing
  kWarning,  ///< probably not what is meant
  kFailure,  ///< a start or its daemon fails, or something is lost
};

struct Finding {
  Severity severity = Severity::kNote;
  const char* code = "";  ///< for machines; never changes its meaning. qvxctl(8) lists them.
  std::string file{};
  uint64_t line = 0;  ///< from 1; 0: the whole file
  uint64_t column = 0;
  std::string element{};  ///< of the settings document
  std::string what{};
  std::string effect{};  ///< what a start does
  std::string cure{};
  bool keeps_down = false;  ///< the daemon does not come up, whatever the start's exit status
};
using Findings = std::vector<Finding>;

/// Takes findings of which a document may have millions: the first hundred of a kind and, with
/// Finish, a note on how many there are besides.
class FewOfAKind {
 public:
  explicit FewOfAKind(Findings& findings) : findings_(findings) {}

  void Add(Finding finding);
  void Finish();

  /// Returns whether a further finding of the kind would only be counted.
  bool IsFull(const char* code) const;

 private:
  static constexpr size_t kMost = 100;

  Findings& findings_;
  std::map<std::string, size_t> counts_;
};

/// Check one subject each and add to the findings. `kept` is the folder of the kept settings
/// documents.
void CheckDocument(const Forecast& forecast, const std::string& kept, Findings& findings);
void CheckElements(const Forecast& forecast, Findings& findings);
void CheckValues(const Forecast& forecast, Findings& findings);
void CheckAccess(const Forecast& forecast, Findings& findings);
/// `peer` is the answer for the address from which somebody asks.
void CheckPeer(const Forecast& forecast, const Admission& peer, Findings& findings);
void CheckAddresses(const Forecast& forecast, Findings& findings);
void CheckCertificate(const Forecast& forecast, Findings& findings);
void CheckFiles(const Forecast& forecast, Findings& findings);
void CheckPrograms(const Forecast& forecast, Findings& findings);

/// Returns the findings about the settings alone.
Findings CheckSettings(const Forecast& forecast);

/// Returns the findings of all subjects, failures first. The damage of the settings document comes
/// before everything else.
Findings CheckAll(const Forecast& forecast, const std::string& kept);

/// Puts failures first, then warnings. Findings of one severity keep their order.
void SortBySeverity(Findings& findings);

/// Returns the first finding that keeps the daemon down; null when there is none.
const Finding* WhatKeepsDown(const Findings& findings);

/// Returns 0 when there are at most notes, 1 for warnings, 2 for failures.
int StatusOf(const Findings& findings);

/// `document` is the settings document that was looked at.
void ShowFindings(const Findings& findings, const std::string& document, Page& page);
nlohmann::ordered_json FindingsAsJson(const Findings& findings);

}  // namespace qvx::companion

#endif
