// A last-in-first-out stack of object pointers with an upper bound on its depth.
//
// The array starts at 32 slots, or fewer when the bound is lower. It doubles when it is full. An
// array of at least 128 slots halves when fewer than a quarter of them are used. So a push or pop
// costs a constant time on average. The stack never owns the objects that it holds.
#ifndef QVX_SUPPORT_STACK_H
#define QVX_SUPPORT_STACK_H

#include <cstdint>

/// Invariant: sp <= size <= max.
struct stack {
  uint32_t max;   ///< the most elements that it may ever hold
  uint32_t sp;    ///< elements held; the next free slot
  uint32_t size;  ///< slots of the array
  void** array;   ///< slot 0 is the bottom
};

/// Makes an empty stack of at most `max` elements (0: 2147483647). The caller releases it with
/// stack_del. Returns null with errno set when memory ran out.
stack* stack_new(uint32_t max);

/// Hands every element to `release` from the top down (unless `release` is null), then frees the
/// stack. A null stack is ignored.
void stack_del(stack* s, void (*release)(void*));

/// Puts `element` on top. Returns 0; or -1, with a trace line and the stack unchanged: errno EINVAL
/// (null stack), ERANGE (full), ENOMEM.
int stack_push(stack* s, void* element);

/// Takes the top element off and returns it. Returns null when the stack is null or empty, without
/// a trace line; and when a large array could not be shrunk, with a trace line: the element then
/// stays.
void* stack_pop(stack* s);

/// Returns the top element without taking it off; null when the stack is null or empty.
inline void* stack_peek(stack* s) {
  return s == nullptr || s->sp == 0 ? nullptr : s->array[s->sp - 1];
}

/// Returns the element at `index`, counted from the bottom. When there is none, returns null with
/// errno ERANGE and a trace line.
void* stack_get(stack* s, uint32_t index);

/// Returns the number of elements; 0 for a null stack.
uint32_t stack_size(const stack* s);

/// Returns 1 when the stack is null or holds nothing, else 0.
int stack_is_empty(const stack* s);

/// Starts a walk from the bottom: sets `*iterator` to 0. Does nothing for a null stack.
void stack_iterate(stack* s, uint32_t* iterator);

/// Returns the element at the iterator and moves it on; null at the end or for a null stack.
/// Elements that are pushed during a walk are reached by it.
void* stack_next(stack* s, uint32_t* iterator);

/// Takes every element off, from the top down, and hands each to `release`. Does nothing when
/// either argument is null.
void stack_clear(stack* s, void (*release)(void*));

#endif
