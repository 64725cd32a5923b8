// The lines that two texts do not have in common.
#ifndef QVX_COMPANION_DIFF_H
#define QVX_COMPANION_DIFF_H

#include <string>
#include <string_view>
#include <vector>

namespace qvx::companion {

/// Returns the lines that differ, in their order: those of `before` alone behind a "-", those of
/// `after` alone behind a "+". Texts of which more than some thousand lines differ are not compared
/// closely: all their differing middle is then given.
std::vector<std::string> DifferingLines(std::string_view before, std::string_view after);

}  // namespace qvx::companion

#endif
