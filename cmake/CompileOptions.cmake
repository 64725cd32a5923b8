# The usage requirements of every target: language level, warnings, instrumentation, hardening.
add_library(qvx_compile_options INTERFACE)
target_compile_features(qvx_compile_options INTERFACE cxx_std_20)
target_compile_options(qvx_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wdouble-promotion -Wformat=2 -Wundef
  -Wcast-align -Wcast-qual -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
  # GCC 12 mistakes "a" + string for overlapping memory (its bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  $<$<BOOL:${QVX_WARNINGS_AS_ERRORS}>:-Werror>)

if(QVX_SANITIZE)
  target_compile_options(qvx_compile_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer
    # GCC mistakes the reads of the instrumentation, in the standard library, for uninitialised
    # ones.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(qvx_compile_options INTERFACE -fsanitize=address,undefined)
endif()

if(QVX_FUZZ)
  target_compile_options(qvx_compile_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(QVX_COVERAGE)
  # The counters are shared memory, a file for each program (%m). So none is lost with a process that
  # is killed, or ends through _exit (%c), and no call of a run is one of theirs at its end.
  set(counters -fprofile-instr-generate=${PROJECT_BINARY_DIR}/counters/%m%c.profraw)
  target_compile_options(qvx_compile_options INTERFACE
    ${counters} -fcoverage-mapping -fprofile-update=atomic
    "SHELL:-mllvm -runtime-counter-relocation")
  target_link_options(qvx_compile_options INTERFACE ${counters})
endif()

# Builds that are installed are hardened. A sanitizer finds the same faults, and debug builds stay
# plain.
set(QVX_HARDENED OFF)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND NOT QVX_SANITIZE)
  set(QVX_HARDENED ON)
  include(CheckCXXCompilerFlag)
  check_cxx_compiler_flag(-fstack-clash-protection QVX_HAS_STACK_CLASH)
  check_cxx_compiler_flag(-fcf-protection QVX_HAS_CONTROL_FLOW)
  # Elsewhere, Clang 14 takes it and warns that it is of no use.
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    check_cxx_compiler_flag(-mbranch-protection=standard QVX_HAS_BRANCH_PROTECTION)
  endif()
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
  set(is_executable $<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>)
  set(is_module $<STREQUAL:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY>)
  target_compile_options(qvx_compile_options INTERFACE
    -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
    # The rooms are linked into programs, where library code would be slower.
    $<$<NOT:${is_module}>:-fPIE>
    $<$<BOOL:${QVX_HAS_STACK_CLASH}>:-fstack-clash-protection>
    $<$<BOOL:${QVX_HAS_CONTROL_FLOW}>:-fcf-protection>
    $<$<BOOL:${QVX_HAS_BRANCH_PROTECTION}>:-mbranch-protection=standard>)
  target_link_options(qvx_compile_options INTERFACE
    LINKER:-z,relro,-z,now
    $<$<AND:$<BOOL:${CMAKE_CXX_LINK_PIE_SUPPORTED}>,${is_executable}>:-pie>)
endif()
