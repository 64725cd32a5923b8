# Usage requirements that every target of the project links: language level, warnings, instrumentation.
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
    # GCC takes what the instrumentation reads for uninitialised, in the standard library's own code.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(qvx_compile_options INTERFACE -fsanitize=address,undefined)
endif()

if(QVX_COVERAGE)
  target_compile_options(qvx_compile_options INTERFACE --coverage)
  target_link_options(qvx_compile_options INTERFACE --coverage)
endif()
