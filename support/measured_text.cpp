#include "support/measured_text.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "support/mbs.h"

namespace qvx {

MeasuredText Measured(const char* text) {
  constexpr MeasuredText kNone{nullptr, 0, 0};
  if (text == nullptr) {
    errno = EINVAL;
    return kNone;
  }
  const size_t length = std::strlen(text);
  if (length <= INT_MAX && IsAscii(text, length)) {
    return {text, static_cast<uint32_t>(length) + 1, static_cast<uint32_t>(length)};
  }
  const int bytes = mbssize(text);
  if (bytes < 0) {
    return kNone;
  }
  return {text, static_cast<uint32_t>(bytes) + 1, static_cast<uint32_t>(mbslen(text))};
}

char* CopyOf(MeasuredText text) {
  auto* copy = static_cast<char*>(std::malloc(text.bytes));
  return copy != nullptr ? CopyTo(copy, text) : nullptr;
}

}  // namespace qvx
