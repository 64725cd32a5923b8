// Comparing long texts with the files in the folder "expected".
#ifndef QVX_TESTS_WEBCONF_EXPECTED_H
#define QVX_TESTS_WEBCONF_EXPECTED_H

#include <string>
#include <string_view>

namespace qvx::test {

/// The lines in which `text` differs from the file `name`: "< " and a line of the file alone, "> "
/// and a line of the text alone. Empty when they are the same.
std::string DifferencesFrom(const std::string& name, std::string_view text);

}  // namespace qvx::test

#endif
