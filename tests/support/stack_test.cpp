#include "support/stack.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/msgno.h"

namespace qvx::test {
namespace {

int objects[501];

struct Delete {
  void operator()(stack* s) const { stack_del(s, nullptr); }
};

std::unique_ptr<stack, Delete> Filled(uint32_t max, uint32_t count) {
  std::unique_ptr<stack, Delete> s(stack_new(max));
  for (uint32_t i = 0; i < count; ++i) {
    EXPECT_EQ(stack_push(s.get(), &objects[i]), 0);
  }
  return s;
}

void ExpectTrace(const std::string& function, int error, const std::string& details) {
  EXPECT_EQ(errno, error);
  EXPECT_TRUE(std::string(_msgno_buf)
                  .ends_with(":" + function + ": " + std::strerror(error) + details + "\n"))
      << _msgno_buf;
}

TEST(Stack, GrowsByDoublingAndShrinksWhenSparse) {
  const struct {
    uint32_t max = 500;  // 0: no bound
    uint32_t pushed, size = pushed;
    uint32_t held = 1;  // before a pop
    uint32_t size_after_pop = size;
  } rows[] = {
      {.pushed = 32},
      {.pushed = 33, .size = 64},
      {.pushed = 256, .held = 63, .size_after_pop = 128},
      {.pushed = 257, .size = 500, .held = 125},
      {.max = 200, .pushed = 129, .size = 200, .held = 49, .size_after_pop = 100},
      {.max = 200, .pushed = 129, .size = 200, .held = 50},
      {.max = 127, .pushed = 127},
      {.max = 0, .pushed = 65, .size = 128, .held = 31, .size_after_pop = 64},
      {.max = 5, .pushed = 5, .held = 5},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.pushed << " of " << row.max);
    const auto s = Filled(row.max, row.pushed);
    EXPECT_EQ(s->size, row.size);
    s->sp = row.held;
    EXPECT_EQ(stack_pop(s.get()), &objects[row.held - 1]);
    EXPECT_EQ(s->size, row.size_after_pop);
    EXPECT_EQ(stack_size(s.get()), row.held - 1);
  }
  const auto full = Filled(500, 500);
  EXPECT_EQ(stack_push(full.get(), &objects[500]), -1);
  ExpectTrace("stack_push", ERANGE, ": size=500,max=500");
  EXPECT_EQ(stack_peek(full.get()), &objects[499]);
}

TEST(Stack, RefusalsLeaveItUnchanged) {
  EXPECT_EQ(stack_push(nullptr, objects), -1);
  ExpectTrace("stack_push", EINVAL, ": s=NULL");
  const auto empty = Filled(0, 0);
  EXPECT_EQ(empty->max, 0x7fffffffU);
  for (stack* none : {empty.get(), static_cast<stack*>(nullptr)}) {
    EXPECT_EQ(stack_pop(none), nullptr);
    EXPECT_EQ(stack_peek(none), nullptr);
    EXPECT_EQ(stack_is_empty(none), 1);
  }
  ExpectTrace("stack_push", EINVAL, ": s=NULL");
  EXPECT_EQ(stack_get(nullptr, 0), nullptr);
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
  EXPECT_EQ(seen.size(), 300U);
  stack_del(s, [](void* element) { released.push_back(element); });
  EXPECT_EQ(released, (std::vector<void*>(seen.rbegin(), seen.rend())));
}

}  // namespace
}  // namespace qvx::test
