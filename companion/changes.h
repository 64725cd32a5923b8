// What a start changes in the files on disk.
#ifndef QVX_COMPANION_CHANGES_H
#define QVX_COMPANION_CHANGES_H

#include <string>
#include <vector>

#include "companion/forecast.h"

namespace qvx::companion {

/// What a start changes in one file.
struct FileChange {
  std::string path;
  std::string change;              ///< one sentence
  std::vector<std::string> lines;  ///< the differing ones, behind "-" and "+"
};
std::vector<FileChange> ForetellChanges(const Forecast& forecast);

}  // namespace qvx::companion

#endif
