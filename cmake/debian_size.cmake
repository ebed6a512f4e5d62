# CPack counts each link with the size of its target, and the software device is mostly links. This file writes the size of the files
# themselves into the package; CPack includes it when the package is written.
if(CPACK_GENERATOR STREQUAL DEB)
  set(folder ${CPACK_TOPLEVEL_DIRECTORY}/control)
  file(REMOVE_RECURSE ${folder})
  file(MAKE_DIRECTORY ${folder}/files)
  macro(run)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${folder} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  endmacro()
  # CPack's own archives lie beside usr.
  run(du --summarize --apparent-size --block-size=1K ${CPACK_TEMPORARY_DIRECTORY}/usr)
  string(REGEX MATCH "^[0-9]+" size "${output}")
  run(ar x ${CPACK_PACKAGE_FILES} control.tar.gz)
  run(tar -xpzf control.tar.gz -C files)
  run(sed -i "s/^Installed-Size:.*/Installed-Size: ${size}/" files/control)
  run(tar -czf control.tar.gz --owner=0 --group=0 --numeric-owner -C files .)
  run(ar rS ${CPACK_PACKAGE_FILES} control.tar.gz)
endif()
