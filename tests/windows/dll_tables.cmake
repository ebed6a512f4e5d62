cmake_minimum_required(VERSION 3.25)

# Fails unless the DLL exports exactly the list below, and imports from nothing but four of Windows' own libraries and the two that it
# is there to use.
include(${CMAKE_CURRENT_LIST_DIR}/../library/c_functions.cmake)
set(expected
    ??0SttInterface@@QEAA@$$QEAV0@@Z
    ??0SttInterface@@QEAA@AEBV0@@Z
    ??0SttInterface@@QEAA@XZ
    ??4SttFactory@@QEAAAEAV0@$$QEAV0@@Z
    ??4SttFactory@@QEAAAEAV0@AEBV0@@Z
    ??4SttInterface@@QEAAAEAV0@$$QEAV0@@Z
    ??4SttInterface@@QEAAAEAV0@AEBV0@@Z
    ??_7SttInterface@@6B@
    ?Create@SttFactory@@SA?AW4_VorinStatus@@PEAPEAVSttInterface@@@Z
    ?Destroy@SttFactory@@SA?AW4_VorinStatus@@PEAVSttInterface@@@Z
    ${c_functions})
set(expected_imports advapi32.dll kernel32.dll msvcrt.dll opencl.dll openvino_c.dll shell32.dll)

execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY} OUTPUT_VARIABLE tables COMMAND_ERROR_IS_FATAL ANY)

string(REGEX MATCH "\\[Ordinal/Name Pointer\\] Table[^\n]*\n(.*)" names "${tables}")
string(REGEX REPLACE "\n\n.*" "" names "${CMAKE_MATCH_1}")
string(REGEX REPLACE "\t\\[ *[0-9]+\\]( \\+base\\[ *[0-9]+\\] +[0-9a-f]+)? +" "" names "${names}")
string(REGEX MATCHALL "[^\n]+" exported "${names}")
list(SORT exported)
list(SORT expected)
if(NOT exported STREQUAL expected)
  message(FATAL_ERROR "exported:\n${exported}\nexpected:\n${expected}")
endif()

string(REGEX MATCHALL "DLL Name: [^\n]+" imported "${tables}")
list(TRANSFORM imported REPLACE "DLL Name: " "")
list(TRANSFORM imported TOLOWER)
list(SORT imported)
if(NOT imported STREQUAL expected_imports)
  message(FATAL_ERROR "imports from:\n${imported}\nexpected:\n${expected_imports}")
endif()
