// A test that refuses memory. Its program is linked with qvx_failing_allocator.
#ifndef QVX_TESTS_HARNESS_ALLOCATOR_H
#define QVX_TESTS_HARNESS_ALLOCATOR_H

namespace qvx::test {

/// No allocation fails.
inline constexpr int kNever = -1;

/// Lets the allocation behind the next `calls` ones of this program fail, once.
void FailAllocation(int calls);

/// Whether it has failed. Otherwise it does not fail any more.
bool HasFailedAllocation();

}  // namespace qvx::test

#endif
