# The manual's pages, where what makes them is there: help2man, and Python for that of the header.
find_program(QUORVIN_HELP2MAN help2man)
find_package(Python3 COMPONENTS Interpreter)

# A program that sanitizers watch takes its time to print its help.
if(NOT QUORVIN_HELP2MAN OR NOT Python3_Interpreter_FOUND OR QUORVIN_SANITIZE)
  if(NOT QUORVIN_SANITIZE)
    message(STATUS "Without help2man and Python there are no pages of the manual")
  endif()
  return()
endif()

set(manual ${PROJECT_BINARY_DIR}/manual)
file(GLOB parts CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tool/man/*)
add_custom_command(OUTPUT ${manual}/tool.stamp
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${manual}/man1
  COMMAND ${PROJECT_SOURCE_DIR}/tool/man/make_pages.sh ${manual}/man1
    $<TARGET_FILE:quorvin_tool> ${CMAKE_CROSSCOMPILING_EMULATOR}
  COMMAND ${CMAKE_COMMAND} -E touch ${manual}/tool.stamp
  DEPENDS quorvin_tool ${parts}
  VERBATIM)
add_custom_command(OUTPUT ${manual}/header.stamp
  COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/host/package/make_header_page.py
    ${PROJECT_SOURCE_DIR}/include/quorvin/quorvin.h ${PROJECT_VERSION} ${manual}/man3
  COMMAND ${CMAKE_COMMAND} -E touch ${manual}/header.stamp
  DEPENDS ${PROJECT_SOURCE_DIR}/include/quorvin/quorvin.h
    ${PROJECT_SOURCE_DIR}/host/package/make_header_page.py
  VERBATIM)
add_custom_target(quorvin_manual ALL DEPENDS ${manual}/tool.stamp ${manual}/header.stamp)
install(DIRECTORY ${manual}/man1 ${manual}/man3 DESTINATION ${CMAKE_INSTALL_MANDIR})

if(QUORVIN_TESTS)
  add_test(NAME Manual.HasAPageForEverySubcommandAndFunction
    COMMAND ${PROJECT_SOURCE_DIR}/tests/docs/check_manual.sh
      ${manual} $<TARGET_FILE:quorvin_tool> $<TARGET_FILE:quorvin>)
endif()
