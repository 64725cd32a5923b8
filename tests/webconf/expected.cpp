#include "tests/webconf/expected.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/harness/installation.h"

namespace qvx::test {

std::string DifferencesFrom(const std::string& name, std::string_view text) {
  const TempDirectory scratch;
  const std::string actual = scratch.path() / "actual";
  const std::string differences = scratch.path() / "differences";
  WriteText(actual, text);
  const std::string command = "diff --text '" QVX_EXPECTED + name + "' " + actual;
  EXPECT_NE(std::system((command + " >" + differences + " 2>&1").c_str()), -1);
  EXPECT_NE(std::system(("sed -i '/^[0-9]/d; /^---$/d' " + differences).c_str()), -1);
  return Contents(differences).value_or("no diff");
}

}  // namespace qvx::test
