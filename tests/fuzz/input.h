// What the fuzz targets share: taking values from an input, and the end of a run that went wrong.
#ifndef QVX_TESTS_FUZZ_INPUT_H
#define QVX_TESTS_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace qvx::test {

/// Stops the fuzzer, which then keeps the input.
inline void Require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

/// Hands out an input from its front. Behind the end there are zeros and empty texts.
class Input {
 public:
  explicit Input(std::string_view text) : rest_(text) {}

  bool IsAtEnd() const { return rest_.empty(); }

  template <typename Number>
  Number Take() {
    Number number{};
    const size_t size = std::min(sizeof number, rest_.size());
    std::memcpy(&number, rest_.data(), size);
    rest_.remove_prefix(size);
    return number;
  }

  /// Returns a number below `limit`.
  size_t Below(size_t limit) { return Take<uint8_t>() % limit; }

  /// Returns the text up to the next zero byte, or the rest.
  std::string Text() {
    const size_t end = std::min(rest_.find('\0'), rest_.size());
    const std::string text(rest_.substr(0, end));
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    return text;
  }

  std::string_view Rest() const { return rest_; }

 private:
  std::string_view rest_;
};

/// What a target requires of an input.
void Check(Input input);

}  // namespace qvx::test

#endif
