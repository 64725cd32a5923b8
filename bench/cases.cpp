#include "bench/cases.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace qvx::bench {

namespace {

std::vector<Case>& Added() {
  static std::vector<Case> cases;
  return cases;
}

class Directory {
 public:
  Directory() {
    std::string name = (std::filesystem::temp_directory_path() / "qvx-bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no scratch directory");
    }
    path_ = name;
  }
  ~Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  Directory(Directory&&) = delete;
  Directory& operator=(Directory&&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace

std::string Case::Name(size_t size) const {
  const std::string sized = sizes.empty() ? input : input + '-' + std::to_string(size);
  return subject + '/' + sized + '/' + contender;
}

Addition::Addition(Case added) {
  Added().push_back(std::move(added));
}

std::vector<Case> AllCases() {
  std::vector<Case> cases = Added();
  std::sort(cases.begin(), cases.end(),
            [](const Case& one, const Case& other) { return one.Name(0) < other.Name(0); });
  return cases;
}

SizedCase FindCase(const std::vector<Case>& cases, std::string_view name) {
  const size_t end = name.rfind('/');
  const size_t dash = name.substr(0, end).rfind('-');
  size_t size = 0;
  if (dash != std::string_view::npos) {
    std::from_chars(name.data() + dash + 1, name.data() + name.size(), size);
  }
  for (const Case& one : cases) {
    if (one.Name(size) == name) {
      return {&one, size};
    }
  }
  return {nullptr, 0};
}

[[gnu::noinline]] void DoMeasuredWork(const Prepared& prepared) {
  prepared.work();
  asm volatile("");  // no tail call: the profiler has to see the end of this function
}

const std::string& ScratchDirectory() {
  static const Directory directory;
  return directory.path();
}

}  // namespace qvx::bench
