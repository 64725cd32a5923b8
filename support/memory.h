// Want of memory as a result, not an exception.
#ifndef QVX_SUPPORT_MEMORY_H
#define QVX_SUPPORT_MEMORY_H

#include <cerrno>
#include <new>

namespace qvx {

/// Does `work`, which uses standard containers. Returns false with errno set when memory ran out.
template <typename Work>
bool HasMemoryFor(Work work) {
  try {
    work();
    return true;
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return false;
  }
}

}  // namespace qvx

#endif
