// Where libFuzzer enters each target.
#include <cstddef>
#include <cstdint>

#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qvx::test::Check(qvx::test::Input({reinterpret_cast<const char*>(data), size}));
  return 0;
}
