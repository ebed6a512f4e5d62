cmake_minimum_required(VERSION 3.25)

# Fails unless the library exports exactly the lists below, each symbol under the library's version, and finds its own libraries by RUNPATH
# and not by RPATH.
set(version VORIN_STT_0)
include(${CMAKE_CURRENT_LIST_DIR}/c_functions.cmake)
set(expected
    _ZN10SttFactory6CreateEPP12SttInterface
    _ZN10SttFactory7DestroyEP12SttInterface
    ${c_functions})
# Which of these the compiler emits depends on what it inlines; a host's compiler makes its own.
set(tables _ZTI12SttInterface _ZTS12SttInterface _ZTV12SttInterface)

execute_process(COMMAND ${NM} --dynamic --defined-only --format=posix ${LIBRARY} OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" lines "${listing}")
set(exported)
foreach(line IN LISTS lines)
  string(REGEX REPLACE " .*" "" symbol "${line}")
  if(symbol STREQUAL version OR symbol STREQUAL "${version}@@${version}")
    continue() # the version's own entry
  endif()
  if(NOT symbol MATCHES "@@${version}$")
    message(FATAL_ERROR "${symbol} has not the version ${version}")
  endif()
  string(REGEX REPLACE "@@.*" "" symbol "${symbol}")
  if(NOT symbol IN_LIST tables)
    list(APPEND exported ${symbol})
  endif()
endforeach()
list(SORT exported)
if(NOT exported STREQUAL expected)
  message(FATAL_ERROR "exported:\n${exported}\nexpected:\n${expected}")
endif()

execute_process(COMMAND ${READELF} --dynamic ${LIBRARY} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
if(NOT dynamic MATCHES "\\(RUNPATH\\)" OR dynamic MATCHES "\\(RPATH\\)")
  message(FATAL_ERROR "the library wants a RUNPATH and no RPATH:\n${dynamic}")
endif()
