# quorvin_test(NAME SOURCES... LIBRARIES...): one GoogleTest program. Its sources are recorded, so
# that a *_test.cc which no build file names is noticed.

if(QUORVIN_TESTS AND NOT QUORVIN_CORE_ONLY)
  enable_testing()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

function(quorvin_test name)
  if(NOT QUORVIN_TESTS OR QUORVIN_CORE_ONLY)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  quorvin_target(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main)
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/test-bin)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300
    ENVIRONMENT "QUORVIN_MEDIA_WORKER=${PROJECT_BINARY_DIR}/bin/quorvin-media")
  foreach(source IN LISTS ARG_SOURCES)
    cmake_path(ABSOLUTE_PATH source)
    set_property(GLOBAL APPEND PROPERTY QUORVIN_TEST_SOURCES ${source})
  endforeach()
endfunction()
