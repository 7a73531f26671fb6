# quorvin_check_core(TARGET): fails the configuration when the target links anything, or includes
# anything beyond its own folder and the standard library, and the build when a program made of it
# alone, with an empty main, does not link.

function(quorvin_check_core target)
  get_target_property(linked ${target} LINK_LIBRARIES)
  list(REMOVE_ITEM linked "$<BUILD_INTERFACE:quorvin_compile>")
  get_target_property(passed_on ${target} INTERFACE_LINK_LIBRARIES)
  if(passed_on)
    list(FILTER passed_on EXCLUDE REGEX "quorvin_compile")
  else()
    set(passed_on)
  endif()
  if(linked OR passed_on)
    message(FATAL_ERROR "${target} links ${linked} ${passed_on}; it must link nothing")
  endif()

  file(GLOB_RECURSE files CONFIGURE_DEPENDS
    ${CMAKE_CURRENT_SOURCE_DIR}/*.h ${CMAKE_CURRENT_SOURCE_DIR}/*.cc)
  foreach(file IN LISTS files)
    if(file MATCHES "_test\\.cc$")
      continue()
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(STRINGS ${file} includes REGEX "^[ \t]*#[ \t]*include")
    foreach(include IN LISTS includes)
      # Standard headers have neither a dot nor a slash in their names.
      if(NOT include MATCHES "#[ \t]*include[ \t]*(<[a-z0-9_]+>|\"core/[a-z_/]+\\.h\")")
        message(FATAL_ERROR "${file}: ${include}\nThe core includes the standard library and itself alone")
      endif()
    endforeach()
  endforeach()

  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/empty_main.cc.new "int main() { return 0; }\n")
  file(COPY_FILE ${CMAKE_CURRENT_BINARY_DIR}/empty_main.cc.new
    ${CMAKE_CURRENT_BINARY_DIR}/empty_main.cc ONLY_IF_DIFFERENT)
  add_executable(${target}_alone ${CMAKE_CURRENT_BINARY_DIR}/empty_main.cc)
  target_link_libraries(${target}_alone PRIVATE
    -Wl,--whole-archive ${target} -Wl,--no-whole-archive)
  if(QUORVIN_SANITIZE)
    target_link_options(${target}_alone PRIVATE -fsanitize=${QUORVIN_SANITIZE})
  endif()
  set_target_properties(${target}_alone PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
endfunction()
