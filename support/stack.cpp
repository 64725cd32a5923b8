#include "support/stack.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include "support/malloc_owner.h"
#include "support/trace.h"
#include "support/trace_modules.h"

namespace qvx {

namespace {

constexpr const char* kModule = trace_modules::kStack;
constexpr uint32_t kUnbounded = 0x7fffffff;
constexpr uint32_t kFirstSize = 32;
constexpr uint32_t kSmallestShrunk = 128;  // a smaller array is not worth a reallocation

/// Returns false when memory ran out; the array is then as it was.
bool Resize(stack* s, uint32_t size) {
  void* array = std::realloc(static_cast<void*>(s->array), size * sizeof(void*));
  if (array == nullptr) {
    return false;
  }
  s->array = static_cast<void**>(array);
  s->size = size;
  return true;
}

bool IsSparse(const stack* s) {
  return s->size >= kSmallestShrunk && s->sp < s->size / 4;
}

}  // namespace

}  // namespace qvx

using namespace qvx;

stack* stack_new(uint32_t max) {
  MallocOwner<stack> s(static_cast<stack*>(std::calloc(1, sizeof(stack))));
  if (s == nullptr) {
    return nullptr;
  }
  s->max = max == 0 ? kUnbounded : max;
  return Resize(s.get(), std::min(s->max, kFirstSize)) ? s.release() : nullptr;
}

void stack_del(stack* s, void (*release)(void*)) {
  if (s == nullptr) {
    return;
  }
  stack_clear(s, release);
  std::free(static_cast<void*>(s->array));
  std::free(s);
}

int stack_push(stack* s, void* element) {
  if (s == nullptr) {
    errno = EINVAL;
    TraceDetails({kModule, __func__}, errno, "s=NULL");
    return -1;
  }
  if (s->sp == s->size) {
    if (s->sp == s->max) {
      errno = ERANGE;
      TraceDetails({kModule, __func__}, errno, "size=%u,max=%u", s->size, s->max);
      return -1;
    }
    const uint32_t new_size = s->sp > s->max / 2 ? s->max : 2 * s->sp;
    if (!Resize(s, new_size)) {
      TraceDetails({kModule, __func__}, errno, "new_size=%u,new_array=NULL,sp=%u", new_size, s->sp);
      return -1;
    }
  }
  s->array[s->sp++] = element;
  return 0;
}

void* stack_pop(stack* s) {
  if (stack_is_empty(s) != 0) {
    return nullptr;
  }
  const uint32_t half = s->size / 2;
  if (IsSparse(s) && !Resize(s, half)) {
    TraceDetails({kModule, __func__}, errno, "new_size=%u,new_array=NULL", half);
    return nullptr;
  }
  return s->array[--s->sp];
}

void* stack_get(stack* s, uint32_t index) {
  if (index >= stack_size(s)) {
    errno = ERANGE;
    Trace({kModule, __func__}, errno);
    return nullptr;
  }
  return s->array[index];
}

uint32_t stack_size(const stack* s) {
  return s == nullptr ? 0 : s->sp;
}

int stack_is_empty(const stack* s) {
  return stack_size(s) == 0 ? 1 : 0;
}

void stack_iterate(stack* s, uint32_t* iterator) {
  if (s != nullptr && iterator != nullptr) {
    *iterator = 0;
  }
}

void* stack_next(stack* s, uint32_t* iterator) {
  if (iterator == nullptr || *iterator >= stack_size(s)) {
    return nullptr;
  }
  return s->array[(*iterator)++];
}

void stack_clear(stack* s, void (*release)(void*)) {
  if (s == nullptr || release == nullptr) {
    return;
  }
  while (s->sp > 0) {
    if (IsSparse(s)) {
      Resize(s, s->size / 2);  // a failure does no harm: the elements are taken off all the same
    }
    release(s->array[--s->sp]);
  }
}
