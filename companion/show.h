// The command "show": what is in effect at the next start.
#ifndef QVX_COMPANION_SHOW_H
#define QVX_COMPANION_SHOW_H

#include <nlohmann/json_fwd.hpp>

#include "companion/findings.h"
#include "companion/forecast.h"
#include "companion/presentation.h"

namespace qvx::companion {

/// Add what will be in effect at the next start: the settings, the bind addresses with their
/// virtual hosts, the access rules, the certificate and the end of the start. Then what there is
/// now. `findings` are those of CheckAll.
void Show(const Forecast& forecast, const Findings& findings, Page& page);
nlohmann::ordered_json ShowAsJson(const Forecast& forecast, const Findings& findings);

/// Add what a start changes against the files on disk.
void ShowChanges(const Forecast& forecast, Page& page);
nlohmann::ordered_json ChangesAsJson(const Forecast& forecast);

}  // namespace qvx::companion

#endif
