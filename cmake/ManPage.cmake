# vorin_add_man_page(<program target> <what it does>) makes <program>.1 from the program's --help, so that both agree, and
# installs it.
find_program(VORIN_HELP2MAN help2man)
mark_as_advanced(VORIN_HELP2MAN)
add_custom_target(vorin_papers ALL) # everything made from the programs, for builds of single targets before installing

function(vorin_add_man_page program purpose)
  if(NOT VORIN_HELP2MAN)
    message(STATUS "No man pages: help2man is not installed")
    return()
  endif()
  set(page ${CMAKE_CURRENT_BINARY_DIR}/${program}.1)
  add_custom_command(
    OUTPUT ${page}
    COMMAND ${VORIN_HELP2MAN} --no-info "--name=${purpose}" --output=${page} $<TARGET_FILE:${program}>
    COMMAND ${CMAKE_COMMAND} -DPAGE=${page} -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/man_page_lines.cmake
    DEPENDS ${program} ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/man_page_lines.cmake
    COMMENT "Making the man page of ${program}"
    VERBATIM)
  add_custom_target(${program}_man_page DEPENDS ${page})
  add_dependencies(vorin_papers ${program}_man_page)
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT programs)
endfunction()
