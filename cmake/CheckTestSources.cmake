# Run as a script: fails when a *_test.cc on disk is in no test program.
# Takes SOURCE_DIR, and LIST, a file of the sources that the test programs are built from.
cmake_minimum_required(VERSION 3.25)
file(GLOB folders LIST_DIRECTORIES true ${SOURCE_DIR}/*)
list(FILTER folders EXCLUDE REGEX "/(build|demo-output)$")
list(TRANSFORM folders APPEND /*_test.cc)
file(GLOB_RECURSE on_disk ${folders})
file(STRINGS ${LIST} built)
foreach(test IN LISTS on_disk)
  if(NOT test IN_LIST built)
    message(SEND_ERROR "${test} is in no test program")
  endif()
endforeach()
