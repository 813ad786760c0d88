# vellmark.1 from the program's own --help, when help2man is there and the program can run
# on the build machine.
find_program(HELP2MAN_EXECUTABLE help2man)
if(HELP2MAN_EXECUTABLE AND NOT CMAKE_CROSSCOMPILING)
  add_custom_command(OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/vellmark.1
    COMMAND ${HELP2MAN_EXECUTABLE} --no-info --no-discard-stderr
            --name "asset tools of the course editor" --section 1
            --output ${CMAKE_CURRENT_BINARY_DIR}/vellmark.1 $<TARGET_FILE:vellmark>
    DEPENDS vellmark
    COMMENT "Generating the vellmark(1) man page")
  add_custom_target(vellmark_manpage ALL DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/vellmark.1)
elseif(NOT HELP2MAN_EXECUTABLE)
  message(STATUS "help2man not found: no man page for vellmark")
endif()
