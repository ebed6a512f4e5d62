cmake_minimum_required(VERSION 3.25)

# Fails where a program or library of the build folder looks for its libraries in the current folder: where an element of its RUNPATH is
# empty or relative.
file(GLOB candidates ${FOLDER}/* ${FOLDER}/softgpu/*.so ${FOLDER}/softgpu/runtime/libvorin* ${FOLDER}/embedded/*.so*)
set(run_path_count 0)
foreach(file IN LISTS candidates)
  if(IS_DIRECTORY ${file} OR file MATCHES "\\.(a|ninja|cmake|txt|json|xml)$")
    continue()
  endif()
  execute_process(COMMAND ${READELF} --dynamic ${file} OUTPUT_VARIABLE dynamic ERROR_QUIET)
  if(dynamic MATCHES "\\(R(UN)?PATH\\)[^[]*\\[([^]]*)\\]")
    math(EXPR run_path_count "${run_path_count} + 1")
    set(run_path ":${CMAKE_MATCH_2}:") # so that an element begins behind each ":" but the last
    if(run_path MATCHES ":[^/$]")
      message(SEND_ERROR "${file}: ${run_path}")
    endif()
  endif()
endforeach()
if(run_path_count EQUAL 0)
  message(FATAL_ERROR "no program with a RUNPATH in ${FOLDER}")
endif()
