#include "bench/cases.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace qvx::bench {

namespace {

std::vector<Case>& Added() {
  static std::vector<Case> cases;
  return cases;
}

struct TemporaryDirectory {
  std::string path = std::filesystem::temp_directory_path() / "qvx-bench-XXXXXX";

  TemporaryDirectory() {
    if (mkdtemp(path.data()) == nullptr) {
      throw std::runtime_error("no scratch directory");
    }
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  TemporaryDirectory(TemporaryDirectory&&) = delete;
  TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

}  // namespace

std::string Case::Name(size_t size) const {
  const std::string sized = sizes.empty() ? input : input + '-' + std::to_string(size);
  return subject + '/' + sized + '/' + contender;
}

Addition::Addition(Case added) {
  Added().push_back(std::move(added));
}

const std::vector<Case>& AllCases() {
  std::sort(Added().begin(), Added().end(),
            [](const Case& one, const Case& other) { return one.Name(0) < other.Name(0); });
  return Added();
}

[[gnu::noinline]] void DoMeasuredWork(const Prepared& prepared) {
  prepared.work();
  asm volatile("");  // no tail call: the profiler has to see the end of this function
}

const std::string& ScratchDirectory() {
  static const TemporaryDirectory directory;
  return directory.path;
}

}  // namespace qvx::bench
