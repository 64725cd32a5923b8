// The cases of the benchmark. A case is one contender's work on an input, "subject/input/contender"
// or, where the input has a size, "subject/input-size/contender". Contenders of the same subject
// and input do the same job, and tell it in the same words.
//
// A source adds its cases when the program starts:
//
//   const Addition kAddition({.subject = "save", .input = "deep", .contender = "ours", ...});
#ifndef QVX_BENCH_CASES_H
#define QVX_BENCH_CASES_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qvx::bench {

/// A work that can be done once, and what it has brought about then. What both hold is released
/// with them, so neither making nor releasing it is measured.
struct Prepared {
  std::function<void()> work;
  std::function<std::string()> result;  ///< an empty text is compared with nothing
};

struct Case {
  std::string subject;
  std::string input;
  std::string contender;
  std::vector<size_t> sizes;  ///< those of the report; none: the input has no size
  std::function<Prepared(size_t)> prepare;
  size_t small_size = 20;  ///< for a check of the results

  std::string Name(size_t size) const;
};

struct Addition {
  explicit Addition(Case added);
};

/// All cases, in the order of their names.
std::vector<Case> AllCases();

/// A case and the size that a name asks for, which need not be one of the report.
struct SizedCase {
  const Case* chosen;  ///< null: there is no such case
  size_t size;
};
SizedCase FindCase(const std::vector<Case>& cases, std::string_view name);

/// Does the work. The only caller of it, so that a profiler can be told to count in here alone.
void DoMeasuredWork(const Prepared& prepared);

/// A directory of this process, removed at its end.
const std::string& ScratchDirectory();

}  // namespace qvx::bench

#endif
