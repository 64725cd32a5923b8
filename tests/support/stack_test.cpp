#include "support/stack.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include "support/msgno.h"

namespace {

int objects[501];

struct Delete {
  void operator()(stack* s) const { stack_del(s, nullptr); }
};

std::unique_ptr<stack, Delete> Filled(uint32_t max, uint32_t count) {
  std::unique_ptr<stack, Delete> s(stack_new(max));
  for (uint32_t i = 0; i < count; ++i) {
    EXPECT_EQ(0, stack_push(s.get(), &objects[i]));
  }
  return s;
}

void ExpectTrace(const std::string& function, int error, const std::string& details) {
  EXPECT_EQ(error, errno);
  EXPECT_TRUE(std::string(_msgno_buf)
                  .ends_with(":" + function + ": " + std::strerror(error) + details + "\n"))
      << _msgno_buf;
}

TEST(Stack, GrowsByDoublingAndShrinksWhenSparse) {
  // Capacity at most, elements pushed, capacity; elements held before a pop, capacity after it.
  const std::array<uint32_t, 5> rows[] = {
      {500, 32, 32, 1, 32},      {500, 33, 64, 1, 64},     {500, 256, 256, 63, 128},
      {500, 257, 500, 125, 500}, {200, 129, 200, 49, 100}, {200, 129, 200, 50, 200},
      {127, 127, 127, 1, 127},   {0, 65, 128, 31, 64},     {5, 5, 5, 5, 5}};
  for (const auto& [max, pushed, size, held, after_pop] : rows) {
    SCOPED_TRACE(pushed);
    const auto s = Filled(max, pushed);
    EXPECT_EQ(size, s->size);
    s->sp = held;
    EXPECT_EQ(&objects[held - 1], stack_pop(s.get()));
    EXPECT_EQ(after_pop, s->size);
    EXPECT_EQ(held - 1, stack_size(s.get()));
  }
  const auto full = Filled(500, 500);
  EXPECT_EQ(-1, stack_push(full.get(), &objects[500]));
  ExpectTrace("stack_push", ERANGE, ": size=500,max=500");
  EXPECT_EQ(&objects[499], stack_peek(full.get()));
}

TEST(Stack, RefusalsLeaveItUnchanged) {
  EXPECT_EQ(-1, stack_push(nullptr, objects));
  ExpectTrace("stack_push", EINVAL, ": s=NULL");
  const auto empty = Filled(0, 0);
  EXPECT_EQ(0x7fffffffU, empty->max);
  for (stack* none : {empty.get(), static_cast<stack*>(nullptr)}) {
    EXPECT_EQ(nullptr, stack_pop(none));
    EXPECT_EQ(nullptr, stack_peek(none));
    EXPECT_EQ(1, stack_is_empty(none));
  }
  ExpectTrace("stack_push", EINVAL, ": s=NULL");
  EXPECT_EQ(nullptr, stack_get(nullptr, 0));
  ExpectTrace("stack_get", ERANGE, "");
}

std::vector<void*> released;

TEST(Stack, IteratesUpwardsAndReleasesDownwards) {
  stack* s = Filled(0, 1).release();
  uint32_t iterator = 7;
  stack_iterate(s, &iterator);
  std::vector<void*> seen;
  while (void* element = stack_next(s, &iterator)) {
    EXPECT_EQ(element, stack_get(s, static_cast<uint32_t>(seen.size())));
    seen.push_back(element);
    if (seen.size() < 300) {
      stack_push(s, &objects[seen.size()]);
    }
  }
  EXPECT_EQ(300U, seen.size());
  stack_del(s, [](void* element) { released.push_back(element); });
  EXPECT_EQ((std::vector<void*>(seen.rbegin(), seen.rend())), released);
}

}  // namespace
