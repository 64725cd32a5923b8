// The owner of storage that comes from malloc and is released with free(): the texts and arrays
// that an operation hands to its caller.
#ifndef QVX_SUPPORT_MALLOC_OWNER_H
#define QVX_SUPPORT_MALLOC_OWNER_H

#include <cstdlib>
#include <memory>

namespace qvx {

struct MallocDeleter {
  void operator()(void* storage) const { std::free(storage); }
};
template <typename Value>
using MallocOwner = std::unique_ptr<Value, MallocDeleter>;

}  // namespace qvx

#endif
