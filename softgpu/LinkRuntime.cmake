# cmake -DRUNTIME_DIR=<the runtime's libraries> "-DLIBRARIES=<names;name patterns>" -DLINK_DIR=<folder> -DPLUGIN=<the stand-in plugin>
#       -DCPU_PLUGIN=<file name> -DPLUGINS_XML=<template> -DPRECISION=<f32 or bf16> [-DEXCLUDE=<start of names>] -P LinkRuntime.cmake
#
# Fills LINK_DIR with links to the OpenVINO runtime's libraries and with the stand-ins' plugin and plugins.xml; with copies where links
# cannot be made, as on Windows without the right to it. The runtime looks for its plugins.xml beside the path under which it was loaded,
# so a program that finds it through these links sees this file and not the runtime's own. Links of an earlier runtime go away.
cmake_minimum_required(VERSION 3.25)

file(MAKE_DIRECTORY ${LINK_DIR})
file(GLOB entries LIST_DIRECTORIES false ${LINK_DIR}/*)
foreach(entry IN LISTS entries)
  if(IS_SYMLINK ${entry} AND NOT entry MATCHES "[.]exe$") # the program's, on Windows, is not of the runtime
    file(REMOVE ${entry})
  endif()
endforeach()

list(TRANSFORM LIBRARIES PREPEND ${RUNTIME_DIR}/)
file(GLOB libraries ${LIBRARIES})
if(NOT libraries)
  message(FATAL_ERROR "no libraries in ${RUNTIME_DIR}")
endif()
foreach(library IN LISTS libraries)
  cmake_path(GET library FILENAME name)
  if(EXCLUDE AND name MATCHES "^${EXCLUDE}")
    continue()
  endif()
  file(CREATE_LINK ${library} ${LINK_DIR}/${name} COPY_ON_ERROR SYMBOLIC)
endforeach()
cmake_path(GET PLUGIN FILENAME GPU_PLUGIN)
if(NOT PLUGIN STREQUAL "${LINK_DIR}/${GPU_PLUGIN}") # one of the folders holds the file itself
  file(CREATE_LINK ${PLUGIN} ${LINK_DIR}/${GPU_PLUGIN} COPY_ON_ERROR SYMBOLIC)
endif()
configure_file(${PLUGINS_XML} ${LINK_DIR}/plugins.xml @ONLY)
