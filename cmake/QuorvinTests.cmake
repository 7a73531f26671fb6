# quorvin_test(PROGRAM [NEEDS_MEDIA | NEEDS_LIBRARY] [NOT_FOR_RACES] [SHARDS n] SOURCES...
#   [LIBRARIES...] [DEFINITIONS...] [DEPENDS...]): adds tests to a GoogleTest program, which is made
# at the first call that names it. NEEDS_MEDIA has the generated media made before it runs,
# NEEDS_LIBRARY also imported. NOT_FOR_RACES leaves the sources out for the thread sanitizer: nothing
# of ours in them runs on several threads, or other tests do the same many times at once. The program
# runs in SHARDS processes (1), side by side where there are processors. The sources are recorded, so
# that a *_test.cc which no build file names is noticed.

if(QUORVIN_TESTS AND NOT QUORVIN_CORE_ONLY)
  enable_testing()
  find_package(GTest REQUIRED)
  find_program(QUORVIN_MOLD mold)
endif()

# What all test programs are compiled with.
function(quorvin_test_compilation name)
  quorvin_target(${name})
  target_link_libraries(${name} PRIVATE GTest::gtest GTest::gtest_main)
  # Most of a build is compiling tests: they are neither optimised nor fully described to debuggers.
  target_compile_options(${name} PRIVATE -O0 -g1 -pthread)
  # A compiler for another architecture looks for linkers of that name alone.
  if(QUORVIN_MOLD AND NOT CMAKE_CROSSCOMPILING)
    target_link_options(${name} PRIVATE -fuse-ld=mold)
  endif()
endfunction()

if(QUORVIN_TESTS AND QUORVIN_SHARED_HEADERS AND NOT QUORVIN_CORE_ONLY)
  # A program without tests, for the sake of its precompiled header.
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/test_headers.cc CONTENT "" @ONLY)
  add_executable(quorvin_test_headers ${PROJECT_BINARY_DIR}/test_headers.cc)
  quorvin_test_compilation(quorvin_test_headers)
  target_precompile_headers(quorvin_test_headers PRIVATE
    <gtest/gtest.h> ${QUORVIN_STANDARD_HEADERS})
endif()

function(quorvin_test name)
  if(NOT QUORVIN_TESTS OR QUORVIN_CORE_ONLY)
    return()
  endif()
  cmake_parse_arguments(ARG "NEEDS_MEDIA;NEEDS_LIBRARY;NOT_FOR_RACES" "SHARDS"
    "SOURCES;LIBRARIES;DEFINITIONS;DEPENDS" ${ARGN})
  list(TRANSFORM ARG_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/
    REGEX "^[^/]")
  set_property(GLOBAL APPEND PROPERTY QUORVIN_TEST_SOURCES ${ARG_SOURCES})
  if(ARG_NOT_FOR_RACES AND QUORVIN_SANITIZE MATCHES thread)
    return()
  endif()

  if(NOT TARGET ${name})
    add_executable(${name})
    set_property(GLOBAL APPEND PROPERTY QUORVIN_TEST_PROGRAMS ${name})
    set_target_properties(${name} PROPERTIES
      RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/test-bin)
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES})
    quorvin_test_compilation(${name})
    if(QUORVIN_SHARED_HEADERS)
      target_precompile_headers(${name} REUSE_FROM quorvin_test_headers)
    endif()
  else()
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES})
  endif()
  target_sources(${name} PRIVATE ${ARG_SOURCES})
  target_compile_definitions(${name} PRIVATE ${ARG_DEFINITIONS})
  if(ARG_DEPENDS)
    add_dependencies(${name} ${ARG_DEPENDS})
  endif()
  foreach(property SHARDS NEEDS_MEDIA NEEDS_LIBRARY)
    if(ARG_${property})
      set_target_properties(${name} PROPERTIES QUORVIN_${property} ${ARG_${property}})
    endif()
  endforeach()
endfunction()

# Called once, after every quorvin_test.
function(quorvin_add_tests)
  get_property(programs GLOBAL PROPERTY QUORVIN_TEST_PROGRAMS)
  set(seconds 600)
  if(CMAKE_CROSSCOMPILING)
    set(seconds 3600)  # emulation takes its time
  endif()
  foreach(program IN LISTS programs)
    foreach(property SHARDS NEEDS_MEDIA NEEDS_LIBRARY)
      get_target_property(${property} ${program} QUORVIN_${property})
    endforeach()
    set(fixtures)
    if(NEEDS_LIBRARY)
      set(fixtures FIXTURES_REQUIRED library)
    elseif(NEEDS_MEDIA)
      set(fixtures FIXTURES_REQUIRED media)
    endif()
    if(NOT SHARDS)
      set(SHARDS 1)
    endif()
    foreach(shard RANGE 1 ${SHARDS})
      math(EXPR index "${shard} - 1")
      add_test(NAME ${program}.${shard} COMMAND ${program})
      set_tests_properties(${program}.${shard} PROPERTIES LABELS gtest TIMEOUT ${seconds} ${fixtures}
        # What one test makes a worker fail over is nothing to the next one.
        ENVIRONMENT "XDG_STATE_HOME=/dev/null;QUORVIN_MEDIA_WORKER=${PROJECT_BINARY_DIR}/bin/quorvin-media;GTEST_TOTAL_SHARDS=${SHARDS};GTEST_SHARD_INDEX=${index}")
    endforeach()
  endforeach()

  get_property(sources GLOBAL PROPERTY QUORVIN_TEST_SOURCES)
  list(JOIN sources "\n" text)
  file(WRITE ${PROJECT_BINARY_DIR}/test_sources.txt "${text}\n")
  add_test(NAME EveryTestSourceIsBuilt
    COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
      -DLIST=${PROJECT_BINARY_DIR}/test_sources.txt
      -P ${PROJECT_SOURCE_DIR}/cmake/CheckTestSources.cmake)
endfunction()
