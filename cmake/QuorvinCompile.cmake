# Warnings, sanitizers and coverage for every target of the project.

# Most of a build is reading the standard library's headers, so they are read once. The presets
# `tidy` and `core-only` do without, and notice a file that does not include what it uses. Fuzzing
# compiles some targets in a way of its own.
option(QUORVIN_SHARED_HEADERS "Read the standard library's headers once" ON)
if(QUORVIN_FUZZ OR CMAKE_DISABLE_PRECOMPILE_HEADERS)
  set(QUORVIN_SHARED_HEADERS OFF)
endif()
set(QUORVIN_STANDARD_HEADERS
  <algorithm> <chrono> <filesystem> <functional> <map> <memory> <mutex> <optional> <span> <string>
  <string_view> <thread> <variant> <vector>)

add_library(quorvin_compile INTERFACE)
target_include_directories(quorvin_compile INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(quorvin_compile INTERFACE -Wall -Wextra $<$<BOOL:${QUORVIN_WERROR}>:-Werror>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # It warns of designated initialisers that leave out members which have a default, and, wrongly,
  # of short texts that are put together.
  target_compile_options(quorvin_compile INTERFACE -Wno-missing-field-initializers
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict> $<$<COMPILE_LANGUAGE:CXX>:-Wno-array-bounds>)
  if(CMAKE_UNITY_BUILD)
    # Sources that are compiled together look like headers to it, and a header's types should not be
    # made of those in an unnamed namespace.
    target_compile_options(quorvin_compile INTERFACE
      $<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage>)
  endif()
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  target_compile_options(quorvin_compile INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
  if(NOT CMAKE_UNITY_BUILD)
    target_compile_options(quorvin_compile INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wshadow>)
  endif()
  # From 19 on it warns of designated initialisers as g++ does.
  include(CheckCXXCompilerFlag)
  check_cxx_compiler_flag(-Wmissing-designated-field-initializers QUORVIN_WARNS_OF_DEFAULTS)
  if(QUORVIN_WARNS_OF_DEFAULTS)
    target_compile_options(quorvin_compile INTERFACE
      $<$<COMPILE_LANGUAGE:CXX>:-Wno-missing-designated-field-initializers>)
  endif()
endif()
if(QUORVIN_SANITIZE)
  target_compile_definitions(quorvin_compile INTERFACE QUORVIN_SANITIZED)
  target_compile_options(quorvin_compile INTERFACE -fsanitize=${QUORVIN_SANITIZE}
    -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(quorvin_compile INTERFACE -fsanitize=${QUORVIN_SANITIZE})
endif()

if(QUORVIN_SHARED_HEADERS)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/headers.cc CONTENT "" @ONLY)
  add_library(quorvin_headers STATIC ${PROJECT_BINARY_DIR}/headers.cc)
  target_link_libraries(quorvin_headers PRIVATE quorvin_compile)
  target_precompile_headers(quorvin_headers PRIVATE ${QUORVIN_STANDARD_HEADERS})
  # With threads everywhere, for a precompiled header is for one choice of it.
  target_compile_options(quorvin_compile INTERFACE -pthread)
endif()

# The options are for building only: nothing that links a target of ours inherits them by install.
function(quorvin_target name)
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:quorvin_compile>)
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  get_target_property(type ${name} TYPE)
  if(QUORVIN_SHARED_HEADERS AND NOT type STREQUAL EXECUTABLE)
    target_precompile_headers(${name} REUSE_FROM quorvin_headers)
  endif()
endfunction()
