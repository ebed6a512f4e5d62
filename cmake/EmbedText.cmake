# Joins text files into one NUL-terminated C++ constant.
#
#   vorin_embed_text(<output.cpp> HEADER <header> NAMESPACE <namespace> NAME <constant> FILES <file>...)
#
# makes <output.cpp> at build time, which defines the `const char* const` that <header> declares, the files in the given order. As a
# script (cmake -P) this file does the joining itself.
if(NOT CMAKE_SCRIPT_MODE_FILE)
  set(VORIN_EMBED_TEXT_SCRIPT ${CMAKE_CURRENT_LIST_FILE})

  function(vorin_embed_text output)
    cmake_parse_arguments(PARSE_ARGV 1 EMBED "" "HEADER;NAMESPACE;NAME" "FILES")
    string(REPLACE ";" "|" files "${EMBED_FILES}")
    add_custom_command(
      OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} -DHEADER=${EMBED_HEADER} -DNAMESPACE=${EMBED_NAMESPACE} -DNAME=${EMBED_NAME}
              "-DFILES=${files}" -P ${VORIN_EMBED_TEXT_SCRIPT}
      DEPENDS ${EMBED_FILES} ${VORIN_EMBED_TEXT_SCRIPT}
      COMMENT "Embedding ${EMBED_NAME}"
      VERBATIM)
  endfunction()
  return()
endif()

set(literals "")
string(REPLACE "|" ";" files "${FILES}")
foreach(file IN LISTS files)
  file(READ "${file}" text)
  string(FIND "${text}" ")text\"" end_mark)
  if(NOT end_mark EQUAL -1)
    message(FATAL_ERROR "${file} holds the mark that ends a literal")
  endif()
  # One literal a file: some compilers bound a single literal's length, not that of joined ones.
  string(APPEND literals "\n    R\"text(${text})text\"")
endforeach()
file(WRITE "${OUTPUT}" "#include \"${HEADER}\"\n\nnamespace ${NAMESPACE} {\n\nconst char* const ${NAME} =${literals};\n\n}\n")
