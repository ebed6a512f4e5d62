# vorin_install_software_device(<runtime folder below the prefix> <pattern of its libraries' names>) installs the stand-ins into the folder
# softgpu of the installed runtime, in the layout of the build folder. The runtime's libraries are there by links that may move with it.
# On Windows the few that must lie beside the stand-in's plugins.xml are copies, as is the program: a DLL is looked for beside it first.
function(vorin_install_software_device runtime_dir wanted)
  set(folder ${runtime_dir}/softgpu)
  set(source_dir $<TARGET_FILE_DIR:openvino::runtime>)
  if(WIN32)
    set(CPU_PLUGIN ../../openvino_intel_cpu_plugin.dll)
    set(GPU_PLUGIN vorin_softgpu_openvino.dll)
  else()
    set(CPU_PLUGIN libopenvino_intel_cpu_plugin.so)
    set(GPU_PLUGIN libvorin_softgpu_openvino.so)
    get_target_property(runtime_library openvino::runtime LOCATION)
    cmake_path(GET runtime_library PARENT_PATH runtime_source)
    file(GLOB libraries RELATIVE ${runtime_source} ${runtime_source}/*.so ${runtime_source}/*.so.*)
    list(FILTER libraries INCLUDE REGEX "^lib(${wanted})")
    install(TARGETS vorin_softgpu_opencl LIBRARY DESTINATION ${folder} COMPONENT programs)
  endif()

  foreach(name PRECISION IN ZIP_LISTS vorin_softgpu_runtimes vorin_softgpu_precisions)
    set(target_dir ${folder}/${name})
    configure_file(softgpu/plugins.xml.in ${PROJECT_BINARY_DIR}/softgpu/installed/${name}/plugins.xml @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/softgpu/installed/${name}/plugins.xml DESTINATION ${target_dir} COMPONENT programs)
    install(TARGETS vorin_softgpu_openvino LIBRARY DESTINATION ${target_dir} COMPONENT programs)
    if(WIN32)
      install(PROGRAMS $<TARGET_FILE:vorin-stylize> ${source_dir}/openvino.dll ${source_dir}/openvino_ir_frontend.dll
              DESTINATION ${target_dir} COMPONENT programs)
    else()
      install(
        CODE "foreach(vorin_linked IN ITEMS ${libraries})
  file(CREATE_LINK ../../\${vorin_linked} \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${target_dir}/\${vorin_linked}\" SYMBOLIC)
endforeach()"
        COMPONENT programs)
    endif()
  endforeach()
endfunction()
set(vorin_softgpu_runtimes runtime runtime-bf16)
set(vorin_softgpu_precisions f32 bf16)
