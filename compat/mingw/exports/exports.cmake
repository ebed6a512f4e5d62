# The exports of vorin_stt.dll, and the import libraries that ship with it: libvorin_stt.dll.a for MinGW, vorin_stt.lib for MSVC.
set(exports ${CMAKE_CURRENT_LIST_DIR}/vorin_stt.def)
set(host_names ${CMAKE_CURRENT_LIST_DIR}/host_names.def)
target_sources(vorin_stt PRIVATE ${CMAKE_CURRENT_LIST_DIR}/msvc_members.cpp ${exports})
set_target_properties(vorin_stt PROPERTIES PREFIX "" LINK_DEPENDS "${exports};${host_names}")

find_program(VORIN_LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 REQUIRED)
mark_as_advanced(VORIN_LLVM_DLLTOOL)
# The linker's own import library lacks the host names, so another one is made from two lists, which the tool reads as one.
add_custom_command(
  TARGET vorin_stt
  POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E cat ${exports} ${host_names} > ${PROJECT_BINARY_DIR}/mingw_hosts.def
  COMMAND ${CMAKE_DLLTOOL} -D $<TARGET_FILE_NAME:vorin_stt> -d ${PROJECT_BINARY_DIR}/mingw_hosts.def -l $<TARGET_LINKER_FILE:vorin_stt>
  COMMAND ${VORIN_LLVM_DLLTOOL} -m i386:x86-64 -D $<TARGET_FILE_NAME:vorin_stt> -d ${exports} -l
          ${PROJECT_BINARY_DIR}/vorin_stt.lib
  BYPRODUCTS ${PROJECT_BINARY_DIR}/vorin_stt.lib
  VERBATIM)
