# vorin_install_software_device(<runtime folder below the prefix>), on Windows: installs the stand-ins into the folder softgpu of the installed
# runtime, in the layout of the build folder. The few of the runtime's libraries that must lie beside the stand-in's plugins.xml are copies,
# as is the program: a DLL is looked for beside it first.
function(vorin_install_software_device runtime_dir)
  set(CPU_PLUGIN ../../openvino_intel_cpu_plugin.dll)
  set(GPU_PLUGIN vorin_softgpu_openvino.dll)
  set(source_dir $<TARGET_FILE_DIR:openvino::runtime>)
  foreach(name PRECISION IN ZIP_LISTS vorin_softgpu_runtimes vorin_softgpu_precisions)
    set(target_dir ${runtime_dir}/softgpu/${name})
    configure_file(softgpu/plugins.xml.in ${PROJECT_BINARY_DIR}/softgpu/installed/${name}/plugins.xml @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/softgpu/installed/${name}/plugins.xml DESTINATION ${target_dir} COMPONENT programs)
    install(TARGETS vorin_softgpu_openvino LIBRARY DESTINATION ${target_dir} COMPONENT programs)
    install(TARGETS vorin-stylize RUNTIME DESTINATION ${target_dir} COMPONENT programs)
    install(PROGRAMS ${source_dir}/openvino.dll ${source_dir}/openvino_ir_frontend.dll DESTINATION ${target_dir} COMPONENT programs)
  endforeach()
endfunction()
set(vorin_softgpu_runtimes runtime runtime-bf16)
set(vorin_softgpu_precisions f32 bf16)
