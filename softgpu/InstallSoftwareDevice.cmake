# vorin_install_software_device(<runtime folder below the prefix> <pattern of its libraries' names>) installs the stand-ins into the folder
# softgpu of the installed runtime, with links to its libraries that may move with it: the same layout as in the build folder.
function(vorin_install_software_device runtime_dir wanted)
  set(folder ${runtime_dir}/softgpu)
  set(CPU_PLUGIN libopenvino_intel_cpu_plugin.so)
  set(GPU_PLUGIN libvorin_softgpu_openvino.so)
  get_target_property(runtime_library openvino::runtime LOCATION)
  cmake_path(GET runtime_library PARENT_PATH source_dir)
  file(GLOB libraries RELATIVE ${source_dir} ${source_dir}/*.so ${source_dir}/*.so.*)
  list(FILTER libraries INCLUDE REGEX "^lib(${wanted})")

  install(TARGETS vorin_softgpu_opencl LIBRARY DESTINATION ${folder} COMPONENT programs)
  foreach(name PRECISION IN ZIP_LISTS vorin_softgpu_runtimes vorin_softgpu_precisions)
    set(target_dir ${folder}/${name})
    configure_file(softgpu/plugins.xml.in ${PROJECT_BINARY_DIR}/softgpu/installed/${name}/plugins.xml @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/softgpu/installed/${name}/plugins.xml DESTINATION ${target_dir} COMPONENT programs)
    install(TARGETS vorin_softgpu_openvino LIBRARY DESTINATION ${target_dir} COMPONENT programs)
    install(
      CODE "foreach(vorin_linked IN ITEMS ${libraries})
  file(CREATE_LINK ../../\${vorin_linked} \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${target_dir}/\${vorin_linked}\" SYMBOLIC)
endforeach()"
      COMPONENT programs)
  endforeach()
endfunction()
set(vorin_softgpu_runtimes runtime runtime-bf16)
set(vorin_softgpu_precisions f32 bf16)
