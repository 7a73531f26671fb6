# quorvin_page(TARGET SOURCE): adds a generated source to the target, which defines `pageFiles` of
# tool/serve/answers/page.h with the files of the folder FOLDER as they are when it is built.
#
# Run as a script (FOLDER, OUT), it writes that source.
cmake_minimum_required(VERSION 3.25)

function(quorvin_page target folder)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  set(source ${CMAKE_CURRENT_BINARY_DIR}/page_files.cc)
  add_custom_command(OUTPUT ${source}
    COMMAND ${CMAKE_COMMAND} -DFOLDER=${folder} -DOUT=${source}
      -P ${PROJECT_SOURCE_DIR}/cmake/QuorvinPage.cmake
    DEPENDS ${ARG_DEPENDS} ${PROJECT_SOURCE_DIR}/cmake/QuorvinPage.cmake
    COMMENT "Embedding the page"
    VERBATIM)
  target_sources(${target} PRIVATE ${source})
  # Its names are numbers, and it holds what no compiler is to look at twice.
  set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

if(NOT CMAKE_SCRIPT_MODE_FILE)
  return()
endif()

set(types
  "html=text/html" "js=text/javascript" "css=text/css" "svg=image/svg+xml"
  "png=image/png" "ico=image/x-icon" "json=application/json" "webmanifest=application/manifest+json"
  "woff2=font/woff2" "txt=text/plain")

function(content_type path result)
  cmake_path(GET path EXTENSION LAST_ONLY extension)
  string(REGEX REPLACE "^\\." "" extension "${extension}")
  foreach(type IN LISTS types)
    if(type MATCHES "^${extension}=(.*)$")
      set(${result} "${CMAKE_MATCH_1}" PARENT_SCOPE)
      return()
    endif()
  endforeach()
  message(FATAL_ERROR "${path}: files with this extension have no type here")
endfunction()

file(GLOB_RECURSE files RELATIVE ${FOLDER} ${FOLDER}/*)
list(REMOVE_ITEM files "")
if(NOT "index.html" IN_LIST files)
  message(FATAL_ERROR "${FOLDER} holds no index.html")
endif()
cmake_path(GET OUT PARENT_PATH around)
set(text "// Generated: the files of the page.\n#include \"tool/serve/answers/page.h\"\n\n")
set(entries)
set(number 0)
foreach(file IN LISTS files)
  content_type(${file} type)
  file(SHA256 ${FOLDER}/${file} hash)
  string(SUBSTRING ${hash} 0 32 tag)
  set(packed ${around}/page_${number}.gz)
  execute_process(COMMAND gzip -9 -n -c ${FOLDER}/${file} OUTPUT_FILE ${packed}
    COMMAND_ERROR_IS_FATAL ANY)
  file(SIZE ${FOLDER}/${file} size)
  file(SIZE ${packed} packed_size)
  set(compressed "{}")
  foreach(part "file_${number}|${FOLDER}/${file}" "packed_${number}|${packed}")
    string(REPLACE "|" ";" part "${part}")
    list(GET part 0 name)
    list(GET part 1 path)
    # A name of this file alone would be reached by the section's, which arm64 cannot do everywhere.
    set(symbol quorvin_page_${name})
    string(APPEND text
      "asm(\".pushsection .rodata\\n.globl ${symbol}\\n.hidden ${symbol}\\n${symbol}:\\n\"\n"
      "    \".incbin \\\"${path}\\\"\\n.popsection\");\n"
      "extern \"C\" [[gnu::visibility(\"hidden\")]] const std::uint8_t ${symbol}[];\n")
  endforeach()
  # What is packed already does not get smaller.
  math(EXPR pays "${size} * 9 / 10")
  if(packed_size LESS pays)
    set(compressed "{quorvin_page_packed_${number}, ${packed_size}}")
  endif()
  string(APPEND entries
    "    {\"${file}\", \"${type}\", \"${tag}\", {quorvin_page_file_${number}, ${size}}, ${compressed}},\n")
  math(EXPR number "${number} + 1")
endforeach()
string(APPEND text "\nnamespace quorvin {\n\nstd::span<const PageFile> pageFiles() {\n"
  "  static const PageFile kFiles[] = {\n${entries}  };\n  return kFiles;\n}\n\n}  // namespace quorvin\n")
file(WRITE ${OUT} "${text}")
