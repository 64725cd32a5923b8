// Runs a fuzz target once on each file of the folder that the argument names; without one, on an
// empty input.
#include <filesystem>

#include "tests/fuzz/input.h"
#include "tests/harness/installation.h"

int main(int argument_count, char* arguments[]) {
  if (argument_count == 1) {
    qvx::test::Check(qvx::test::Input(""));
    return 0;
  }
  size_t runs = 0;
  for (const auto& file : std::filesystem::directory_iterator(arguments[1])) {
    qvx::test::Check(qvx::test::Input(qvx::test::Contents(file).value()));
    ++runs;
  }
  return runs == 0 ? 1 : 0;
}
