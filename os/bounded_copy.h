// Copying a text into a caller's buffer of fixed size.
#ifndef QVX_OS_BOUNDED_COPY_H
#define QVX_OS_BOUNDED_COPY_H

#include <cstddef>
#include <string_view>

namespace qvx {

/// Copies `text`, cut at `capacity` - 1 characters, and terminates it. With a capacity of 0 or a
/// null `buffer`, nothing is written.
inline void CopyBounded(std::string_view text, char* buffer, size_t capacity) {
  if (capacity > 0 && buffer != nullptr) {
    buffer[text.copy(buffer, capacity - 1)] = '\0';
  }
}

}  // namespace qvx

#endif
