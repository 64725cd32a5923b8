// The command "show": what is in effect at the next start.
#ifndef QVX_COMPANION_SHOW_H
#define QVX_COMPANION_SHOW_H

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "companion/forecast.h"
#include "companion/presentation.h"

namespace qvx::companion {

/// Add the settings in effect, the bind addresses with their virtual hosts, the access rules, the
/// certificate and the end of a start.
void Show(const Forecast& forecast, Page& page);
nlohmann::ordered_json ShowAsJson(const Forecast& forecast);

/// What a start changes in one file.
struct FileChange {
  std::string path;
  std::string change;              ///< one sentence
  std::vector<std::string> lines;  ///< the differing ones, behind "-" and "+"
};
std::vector<FileChange> ForetellChanges(const Forecast& forecast);

/// Add what a start changes against the files on disk.
void ShowChanges(const Forecast& forecast, Page& page);
nlohmann::ordered_json ChangesAsJson(const Forecast& forecast);

}  // namespace qvx::companion

#endif
