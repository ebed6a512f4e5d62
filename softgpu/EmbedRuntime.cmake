# cmake -DPATCHELF=<program> -DRUNTIME_DIR=<the runtime's libraries> -DCOPY=<the library's embedded copy> -DPLUGIN=<the stand-in plugin>
#       -DLAYER=<the stand-in for OpenCL> -DPLUGINS_XML=<template> -DEMBEDDED_DIR=<folder> [-DEXCLUDE=<start of names>]
#       -P EmbedRuntime.cmake
#
# Fills EMBEDDED_DIR with a private runtime: copies of the few libraries that a software device needs, which call each other by names of
# their own (SONAME), so that a process can hold them beside another copy of the same runtime. With them lie the stand-ins, a plugins.xml
# with the plugin as "GPU", and a copy of the library that needs all these in place of the ordinary ones. The folder bf16 has the same by
# links, with the plugins.xml of that precision: the runtime looks for this file beside the path under which it was loaded.
cmake_minimum_required(VERSION 3.25)

set(called openvino.so tbb.so hwloc.so) # by other libraries; the rest is looked up by its file name, which stays
set(looked_up openvino_intel_cpu_plugin.so openvino_ir_frontend.so tbbbind)

function(patch file)
  execute_process(COMMAND ${PATCHELF} ${ARGN} ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Copies a library so that it needs the private ones. patchelf 0.14 mixes up names that one call changes together.
function(take source name)
  set(file ${EMBEDDED_DIR}/${name})
  file(COPY_FILE ${source} ${file})
  patch(${file} --set-soname vorin_embedded_${name})
  patch(${file} --set-rpath $ORIGIN:$ORIGIN/..) # the latter in bf16
  foreach(library IN LISTS private_libraries)
    string(REGEX REPLACE "^lib" "libvorin_" private ${library})
    patch(${file} --replace-needed ${library} ${private})
  endforeach()
endfunction()

function(find_libraries result)
  list(TRANSFORM ARGN PREPEND ${RUNTIME_DIR}/lib OUTPUT_VARIABLE patterns)
  list(TRANSFORM patterns APPEND *)
  file(GLOB libraries RELATIVE ${RUNTIME_DIR} ${patterns})
  if(EXCLUDE)
    list(FILTER libraries EXCLUDE REGEX "^${EXCLUDE}")
  endif()
  set(${result} ${libraries} PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${EMBEDDED_DIR})
file(MAKE_DIRECTORY ${EMBEDDED_DIR}/bf16)
find_libraries(private_libraries ${called})
find_libraries(plugin_libraries ${looked_up})
foreach(library IN LISTS private_libraries)
  string(REGEX REPLACE "^lib" "libvorin_" private ${library})
  take(${RUNTIME_DIR}/${library} ${private})
  patch(${EMBEDDED_DIR}/${private} --set-soname ${private})
endforeach()
foreach(library IN LISTS plugin_libraries)
  take(${RUNTIME_DIR}/${library} ${library})
endforeach()
foreach(file IN ITEMS ${COPY} ${PLUGIN} ${LAYER})
  cmake_path(GET file FILENAME name)
  take(${file} ${name})
endforeach()
cmake_path(GET COPY FILENAME copy)
cmake_path(GET LAYER FILENAME layer)
patch(${EMBEDDED_DIR}/${copy} --add-needed ${layer}) # before OpenCL's loader, so that two functions are found here

file(GLOB libraries RELATIVE ${EMBEDDED_DIR} ${EMBEDDED_DIR}/libvorin_openvino.so* ${EMBEDDED_DIR}/libopenvino_ir_frontend.so*)
foreach(library IN LISTS libraries ITEMS ${copy})
  file(CREATE_LINK ../${library} ${EMBEDDED_DIR}/bf16/${library} SYMBOLIC)
endforeach()
set(CPU_PLUGIN libopenvino_intel_cpu_plugin.so)
cmake_path(GET PLUGIN FILENAME GPU_PLUGIN)
set(PRECISION f32)
configure_file(${PLUGINS_XML} ${EMBEDDED_DIR}/plugins.xml @ONLY)
set(CPU_PLUGIN ../${CPU_PLUGIN})
set(GPU_PLUGIN ../${GPU_PLUGIN})
set(PRECISION bf16)
configure_file(${PLUGINS_XML} ${EMBEDDED_DIR}/bf16/plugins.xml @ONLY)
