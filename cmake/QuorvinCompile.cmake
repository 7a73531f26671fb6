# Warnings, sanitizers and coverage for every target of the project.

add_library(quorvin_compile INTERFACE)
target_include_directories(quorvin_compile INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(quorvin_compile INTERFACE -Wall -Wextra -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # It warns of designated initialisers that leave out members which have a default, and, wrongly,
  # of short texts that are put together.
  target_compile_options(quorvin_compile INTERFACE -Wno-missing-field-initializers
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  target_compile_options(quorvin_compile INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety -Wshadow>)
endif()
if(QUORVIN_SANITIZE)
  # With threads everywhere, for a precompiled header is for one choice of it.
  target_compile_options(quorvin_compile INTERFACE -fsanitize=${QUORVIN_SANITIZE}
    -fno-omit-frame-pointer -fno-sanitize-recover=all -pthread)
  target_link_options(quorvin_compile INTERFACE -fsanitize=${QUORVIN_SANITIZE})
endif()

# Sanitizer builds compile everything anew for every push, so they share what most files include.
# The other builds do without, and notice a file that does not include what it uses. Fuzzing compiles
# some targets in a way of its own.
if(QUORVIN_SANITIZE AND NOT QUORVIN_FUZZ)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/headers.cc CONTENT "" @ONLY)
  add_library(quorvin_headers STATIC ${PROJECT_BINARY_DIR}/headers.cc)
  target_link_libraries(quorvin_headers PRIVATE quorvin_compile)
  target_precompile_headers(quorvin_headers PRIVATE
    <algorithm> <filesystem> <functional> <map> <memory> <optional> <string> <variant> <vector>)
endif()

# The options are for building only: nothing that links a target of ours inherits them by install.
function(quorvin_target name)
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:quorvin_compile>)
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  get_target_property(type ${name} TYPE)
  if(TARGET quorvin_headers AND type STREQUAL STATIC_LIBRARY)
    target_precompile_headers(${name} REUSE_FROM quorvin_headers)
  endif()
endfunction()
