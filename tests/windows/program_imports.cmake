cmake_minimum_required(VERSION 3.25)

# Fails where one of PROGRAMS needs a DLL that neither Windows nor the package has: this machine may have it, a user's has not.
# opencl.dll as the library's DLL, since the programs have the library inside.
set(known
    advapi32.dll
    avcodec-59.dll
    avformat-59.dll
    avutil-57.dll
    bcrypt.dll
    kernel32.dll
    msvcrt.dll
    ole32.dll
    oleaut32.dll
    opencl.dll
    openvino_c.dll
    shell32.dll
    swresample-4.dll
    swscale-6.dll)
foreach(program IN LISTS PROGRAMS)
  execute_process(COMMAND ${OBJDUMP} -p ${program} OUTPUT_VARIABLE tables COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "DLL Name: [^\n]+" imported "${tables}")
  list(TRANSFORM imported REPLACE "DLL Name: " "")
  list(TRANSFORM imported TOLOWER)
  if(NOT imported)
    message(FATAL_ERROR "no imports found in ${program}")
  endif()
  list(REMOVE_ITEM imported ${known})
  if(imported)
    message(FATAL_ERROR "${program} needs ${imported} too")
  endif()
endforeach()
