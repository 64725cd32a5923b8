// Texts that are measured once, and then copied.
#ifndef QVX_SUPPORT_MEASURED_TEXT_H
#define QVX_SUPPORT_MEASURED_TEXT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qvx {

/// A text that can be copied. It is small enough to be handed on in registers.
struct MeasuredText {
  const char* text;
  uint32_t bytes;    ///< of a copy, its NUL included
  uint32_t columns;  ///< as mbslen counts them (support/mbs.h)
};

/// Measures `text`. The text of the result is null, with errno EINVAL (null) or EILSEQ
/// (undecodable), when it cannot be copied.
MeasuredText Measured(const char* text);

/// The same; returns false when the text cannot be copied.
inline bool MeasureText(const char* text, MeasuredText& measured) {
  measured = Measured(text);
  return measured.text != nullptr;
}

/// Copies the first and the last word, which may overlap, of `length` bytes.
template <typename Word>
void CopyEnds(char* to, const char* from, size_t length) {
  Word first = 0;
  Word last = 0;
  std::memcpy(&first, from, sizeof first);
  std::memcpy(&last, from + length - sizeof last, sizeof last);
  std::memcpy(to, &first, sizeof first);
  std::memcpy(to + length - sizeof last, &last, sizeof last);
}

/// Most texts are so short that the call of memmove would cost more than the copy.
inline void CopyBytes(char* to, const char* from, size_t length) {
  if (length > 2 * sizeof(uint64_t)) {
    std::memmove(to, from, length);
  } else if (length >= sizeof(uint64_t)) {
    CopyEnds<uint64_t>(to, from, length);
  } else if (length >= sizeof(uint32_t)) {
    CopyEnds<uint32_t>(to, from, length);
  } else if (length >= sizeof(uint16_t)) {
    CopyEnds<uint16_t>(to, from, length);
  } else if (length == 1) {
    *to = *from;
  }
}

/// Copies `text` to `memory`, which has room for it. Returns `memory`.
inline char* CopyTo(char* memory, MeasuredText text) {
  CopyBytes(memory, text.text, text.bytes - 1);
  memory[text.bytes - 1] = '\0';
  return memory;
}

/// Returns a copy of `text` from malloc; null with errno set when memory ran out.
char* CopyOf(MeasuredText text);

}  // namespace qvx

#endif
