// Stands in for _exit(2) in programs with coverage counters, and writes these first.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names that compiler and linker give.
void __gcov_dump();
[[noreturn]] void __real__exit(int status);

[[noreturn]] void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}
// NOLINTEND(bugprone-reserved-identifier)
}
