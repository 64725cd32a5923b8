#include "tests/harness/allocator.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <utility>

namespace qvx::test {
namespace {

int calls_until_failure = kNever;

bool Fails() {
  const bool fails = calls_until_failure == 0;
  calls_until_failure = std::max(calls_until_failure - 1, kNever);
  errno = fails ? ENOMEM : errno;
  return fails;
}

}  // namespace

void FailAllocation(int calls) {
  calls_until_failure = calls;
}

bool HasFailedAllocation() {
  return std::exchange(calls_until_failure, kNever) == kNever;
}

}  // namespace qvx::test

using qvx::test::Fails;

// The linker gives these what the program asks malloc and its like for.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
char* __real_strdup(const char* text);
void* __wrap_malloc(size_t size) {
  return Fails() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(size_t count, size_t size) {
  return Fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, size_t size) {
  return Fails() ? nullptr : __real_realloc(block, size);
}
char* __wrap_strdup(const char* text) {
  return Fails() ? nullptr : __real_strdup(text);
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

// Containers ask these. They are not inlined, because GCC takes free() beside new for a mistake.
[[gnu::noinline]] void* operator new(size_t size) {
  void* const block = Fails() ? nullptr : __real_malloc(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, size_t /*size*/) noexcept {
  std::free(block);
}
