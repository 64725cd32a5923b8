// Runs a fuzz target once on each input that the arguments name: files, and the files of folders.
#include <filesystem>
#include <string>
#include <vector>

#include "tests/harness/installation.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesAt(const fs::path& place) {
  if (!fs::is_directory(place)) {
    return {place};
  }
  return {fs::directory_iterator(place), fs::directory_iterator()};
}

}  // namespace

int main(int argument_count, char* arguments[]) {
  size_t runs = 0;
  for (int i = 1; i < argument_count; ++i) {
    for (const fs::path& file : FilesAt(arguments[i])) {
      const std::string text = qvx::test::Contents(file).value();
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(text.data()), text.size());
      ++runs;
    }
  }
  return runs == 0 ? 1 : 0;
}
