// The cases of the benchmark. A case is one contender's work on an input, "subject/input/contender"
// or, where the input has a size, "subject/input-size/contender". Contenders of the same subject
// and input do the same job, and tell it in the same words. A source adds its cases when the
// program starts:
//
//   const Addition kAddition({"save", "deep", "ours", {20, 200}, [](size_t size) { ... }});
#ifndef QVX_BENCH_CASES_H
#define QVX_BENCH_CASES_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvx::bench {

/// A work that can be done once, and what it has brought about then. What both hold is released
/// with them, so neither making nor releasing it is measured.
struct Prepared {
  std::function<void()> work;
  std::function<std::string()> result = [] { return std::string(); };  ///< empty: not compared
};

/// A work whose result is the number that it returns.
template <typename Work>
Prepared Counted(Work work) {
  const auto number = std::make_shared<size_t>(0);
  return {[work = std::move(work), number] { *number = static_cast<size_t>(work()); },
          [number] { return std::to_string(*number); }};
}

struct Case {
  std::string subject;
  std::string input;
  std::string contender;
  std::vector<size_t> sizes;  ///< those of the report; none: the input has no size
  std::function<Prepared(size_t)> prepare;

  std::string Name(size_t size) const;
};

struct Addition {
  explicit Addition(Case added);
};

/// All cases, in the order of their names.
const std::vector<Case>& AllCases();

/// Does the work. The only caller of it, so that a profiler can be told to count in here alone.
void DoMeasuredWork(const Prepared& prepared);

/// A directory of this process, removed at its end.
const std::string& ScratchDirectory();

}  // namespace qvx::bench

#endif
