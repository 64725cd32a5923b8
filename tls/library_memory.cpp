#include "tls/library_memory.h"

#include <openssl/crypto.h>
#include <openssl/err.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace qvx {

namespace {

/// More than any supported library takes for a signature at once: 45 KB on Debian 12, 133 KB on 13.
constexpr size_t kSpareSize = 262144;

std::unique_ptr<std::byte[]> spare;

/// The library remembers what a failed allocation left behind, so it may refuse a good file at any
/// later time. Hence the flag is never unset.
bool lacked_memory = false;

void* Reallocate(void* memory, size_t size, const char* file, int line) {
  if (size == 0) {
    std::free(memory);
    return nullptr;
  }
  if (void* const moved = std::realloc(memory, size)) {
    return moved;
  }
  if (spare) {
    spare.reset();
    return Reallocate(memory, size, file, line);
  }
  lacked_memory = true;
  return nullptr;
}

void* Allocate(size_t size, const char* file, int line) {
  return Reallocate(nullptr, size, file, line);
}

void Release(void* memory, const char* /*file*/, int /*line*/) {
  std::free(memory);
}

}  // namespace

void WatchMemory() {
  CRYPTO_set_mem_functions(Allocate, Reallocate, Release);
}

bool LibraryLackedMemory() {
  while (const unsigned long error = ERR_get_error()) {
    lacked_memory = lacked_memory || ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE;
  }
  return lacked_memory;
}

SpareMemory::SpareMemory() {
  spare.reset(new (std::nothrow) std::byte[kSpareSize]);
}

SpareMemory::~SpareMemory() {
  spare.reset();
}

SpareMemory::operator bool() const {
  return spare != nullptr;
}

}  // namespace qvx
