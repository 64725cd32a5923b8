# qvx_add_room(NAME SOURCES ... [USES ...] [USES_PRIVATELY ...])
# A room is one static library, qvx_NAME. Its headers are included as "folder/header.h" from the top
# of the tree. USES names the targets whose headers its own headers need, USES_PRIVATELY the targets
# that only its sources need.
function(qvx_add_room name)
  cmake_parse_arguments(room "" "" "SOURCES;USES;USES_PRIVATELY" ${ARGN})
  add_library(qvx_${name} STATIC ${room_SOURCES})
  target_include_directories(qvx_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(qvx_${name}
    PUBLIC ${room_USES}
    PRIVATE ${room_USES_PRIVATELY} $<BUILD_INTERFACE:qvx_compile_options>)
endfunction()

# qvx_add_tests(NAME ROOMS ...)
# One test program from every *_test.cpp of the calling folder. An empty folder is an error, so no
# suite can vanish unnoticed. The time limit only ends a test that hangs.
function(qvx_add_tests name)
  cmake_parse_arguments(suite "" "" "ROOMS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS *_test.cpp)
  if(NOT sources)
    message(FATAL_ERROR "no *_test.cpp in ${CMAKE_CURRENT_SOURCE_DIR}")
  endif()
  add_executable(${name}_tests ${sources})
  target_link_libraries(${name}_tests PRIVATE
    ${suite_ROOMS} qvx_test_harness qvx_compile_options GTest::gtest_main)
  # A test runs once: optimising it costs more time than it gains. In an optimised build, which
  # FORTIFY wants, GCC 12 warns of the standard library in precompiled headers.
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    target_compile_options(${name}_tests PRIVATE -O1)
  else()
    target_compile_options(${name}_tests PRIVATE -O0)
    target_precompile_headers(${name}_tests PRIVATE <gtest/gtest.h>)
  endif()
  gtest_discover_tests(${name}_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 900 LABELS ${name})
endfunction()

# qvx_install_directories(DIRECTORY ... [OPTIONS install() options ...])
# Makes directories at the installation, open to everybody. It has to stand in front of the files in
# them. A relative directory is below the prefix.
function(qvx_install_directories)
  cmake_parse_arguments(made "" "" "OPTIONS" ${ARGN})
  install(CODE "set(directories \"${made_UNPARSED_ARGUMENTS}\")" ${made_OPTIONS})
  install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/InstallDirectories.cmake ${made_OPTIONS})
endfunction()
