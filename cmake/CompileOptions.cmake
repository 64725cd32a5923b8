# Usage requirements that every target of the project links: language level, warnings,
# instrumentation, hardening.
add_library(qvx_compile_options INTERFACE)
target_compile_features(qvx_compile_options INTERFACE cxx_std_20)
target_compile_options(qvx_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wdouble-promotion -Wformat=2 -Wundef
  -Wcast-align -Wcast-qual -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
  # GCC 12 takes "a" + string for overlapping memory (its bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  $<$<BOOL:${QVX_WARNINGS_AS_ERRORS}>:-Werror>)

if(QVX_SANITIZE)
  target_compile_options(qvx_compile_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer
    # GCC takes what the instrumentation reads for uninitialised, in the standard library's code.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(qvx_compile_options INTERFACE -fsanitize=address,undefined)
endif()

if(QVX_COVERAGE)
  target_compile_options(qvx_compile_options INTERFACE --coverage)
  # A child that leaves by _exit would take its counters with it.
  add_library(qvx_coverage_exit STATIC ${CMAKE_CURRENT_LIST_DIR}/coverage_exit.cpp)
  target_link_libraries(qvx_compile_options INTERFACE qvx_coverage_exit)
  target_link_options(qvx_compile_options INTERFACE --coverage LINKER:--wrap=_exit)
endif()

# What is installed is hardened. A sanitizer finds the same faults, and debug builds stay as they
# are written.
set(QVX_HARDENED OFF)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND NOT QVX_SANITIZE)
  set(QVX_HARDENED ON)
  include(CheckCXXCompilerFlag)
  check_cxx_compiler_flag(-fstack-clash-protection QVX_HAS_STACK_CLASH)
  check_cxx_compiler_flag(-fcf-protection QVX_HAS_CONTROL_FLOW)
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
  set(is_executable $<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>)
  set(is_module $<STREQUAL:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY>)
  target_compile_options(qvx_compile_options INTERFACE
    -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
    # The rooms go into programs, where the code of a library would be slower.
    $<$<NOT:${is_module}>:-fPIE>
    $<$<BOOL:${QVX_HAS_STACK_CLASH}>:-fstack-clash-protection>
    $<$<BOOL:${QVX_HAS_CONTROL_FLOW}>:-fcf-protection>)
  target_link_options(qvx_compile_options INTERFACE
    LINKER:-z,relro,-z,now
    $<$<AND:$<BOOL:${CMAKE_CXX_LINK_PIE_SUPPORTED}>,${is_executable}>:-pie>)
endif()
