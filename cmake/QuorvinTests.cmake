# quorvin_test(NAME [NEEDS_MEDIA | NEEDS_LIBRARY] [NOT_FOR_RACES] SOURCES... LIBRARIES...): one
# GoogleTest program. NEEDS_MEDIA has the generated media made first, NEEDS_LIBRARY also imported.
# NOT_FOR_RACES is not built for the thread sanitizer: nothing of ours in it runs on several threads,
# or other tests do the same many times at once. The sources are recorded, so that a *_test.cc which
# no build file names is noticed.

if(QUORVIN_TESTS AND NOT QUORVIN_CORE_ONLY)
  enable_testing()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# What all test programs are compiled with.
function(quorvin_test_compilation name)
  quorvin_target(${name})
  target_link_libraries(${name} PRIVATE GTest::gtest GTest::gtest_main)
  # Most of a build is compiling tests: they are neither optimised nor fully described to debuggers,
  # and share what they all include.
  target_compile_options(${name} PRIVATE -O0 -g1 -pthread)
endfunction()

if(QUORVIN_TESTS AND NOT QUORVIN_CORE_ONLY)
  # A program without tests, for the sake of its precompiled header.
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/test_headers.cc CONTENT "" @ONLY)
  add_executable(quorvin_test_headers ${PROJECT_BINARY_DIR}/test_headers.cc)
  quorvin_test_compilation(quorvin_test_headers)
  target_precompile_headers(quorvin_test_headers PRIVATE
    <gtest/gtest.h> <algorithm> <filesystem> <functional> <map> <memory> <string> <variant> <vector>)
endif()

function(quorvin_test name)
  if(NOT QUORVIN_TESTS OR QUORVIN_CORE_ONLY)
    return()
  endif()
  cmake_parse_arguments(ARG "NEEDS_MEDIA;NEEDS_LIBRARY;NOT_FOR_RACES" "" "SOURCES;LIBRARIES" ${ARGN})
  foreach(source IN LISTS ARG_SOURCES)
    cmake_path(ABSOLUTE_PATH source)
    set_property(GLOBAL APPEND PROPERTY QUORVIN_TEST_SOURCES ${source})
  endforeach()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES})
  quorvin_test_compilation(${name})
  target_precompile_headers(${name} REUSE_FROM quorvin_test_headers)
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/test-bin)
  if(ARG_NOT_FOR_RACES AND QUORVIN_SANITIZE MATCHES thread)
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  set(fixtures)
  if(ARG_NEEDS_MEDIA)
    set(fixtures FIXTURES_REQUIRED media)
  elseif(ARG_NEEDS_LIBRARY)
    set(fixtures FIXTURES_REQUIRED library)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT 300
    ENVIRONMENT QUORVIN_MEDIA_WORKER=${PROJECT_BINARY_DIR}/bin/quorvin-media ${fixtures})
endfunction()

# Called once, after every quorvin_test.
function(quorvin_check_test_sources)
  get_property(sources GLOBAL PROPERTY QUORVIN_TEST_SOURCES)
  list(JOIN sources "\n" text)
  file(WRITE ${PROJECT_BINARY_DIR}/test_sources.txt "${text}\n")
  add_test(NAME EveryTestSourceIsBuilt
    COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
      -DLIST=${PROJECT_BINARY_DIR}/test_sources.txt
      -P ${PROJECT_SOURCE_DIR}/cmake/CheckTestSources.cmake)
endfunction()
