# The files of `cmake --install`, in five components. All paths are relative to each other, so the whole may move:
#   library       lib/libvorin_stt.so.0 and, in lib/vorin-stt, the inference runtime that it finds beside itself (Windows: all in bin)
#   media         lib/libvorin_media.so.0, its own copy of the library and the module for clips in lib/vorin-stt, and the one with a private runtime, which is the
#                 software device, in lib/vorin-stt/embedded; needs library for real GPUs (not on Windows)
#   development   the headers, the CMake package vorin_stt, the pkg-config files, the import libraries
#   programs      bin/vorin-stylize, bin/vorin-pack; need media (Windows: with the software device in bin/softgpu)
#   models        the demo's networks in share/vorin-stt/models, where models/build --portable has made them (Windows: models)
include(CMakePackageConfigHelpers)

set(vorin_doc_dir ${CMAKE_INSTALL_DOCDIR})
set(vorin_license_dir ${CMAKE_INSTALL_DOCDIR}/licenses)
set(vorin_model_dir ${CMAKE_INSTALL_DATADIR}/vorin-stt/models)
if(WIN32)
  set(vorin_runtime_dir ${CMAKE_INSTALL_BINDIR})
  set(vorin_doc_dir .)
  set(vorin_license_dir licenses)
  set(vorin_model_dir models)
else()
  set(vorin_runtime_dir ${CMAKE_INSTALL_LIBDIR}/vorin-stt)
  get_target_property(vorin_runtime_source openvino::runtime LOCATION)
  cmake_path(GET vorin_runtime_source PARENT_PATH vorin_runtime_source)
  # The build folder takes the installed RUNPATHs, and installing changes none. A RUNPATH of its own would end in empty elements, CMake's
  # room for the installed one, and an empty element is the current folder, from which a library would then be loaded.
  file(CREATE_LINK ${vorin_runtime_source} ${PROJECT_BINARY_DIR}/vorin-stt SYMBOLIC)
  set_target_properties(vorin_stt PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN/vorin-stt")
  set_target_properties( # installed; built
    vorin_stt_embedded PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN;$ORIGIN/vorin-stt${vorin_runtime_of_python}")
  set_target_properties(vorin_softgpu_openvino PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
  set(vorin_program_rpath "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN/../${vorin_runtime_dir}") # as installed
  list(APPEND vorin_program_rpath "$ORIGIN" "$ORIGIN/vorin-stt") # as built
endif()

# ---- library ----
install(
  TARGETS vorin_stt
  EXPORT vorin_sttTargets
  RUNTIME COMPONENT library
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/include/vorin_stt.h TYPE INCLUDE COMPONENT development)

# ---- media ----
if(TARGET vorin_media)
  install(
    TARGETS vorin_media
    EXPORT vorin_sttTargets
    LIBRARY COMPONENT media NAMELINK_COMPONENT development)
  install(
    FILES ${PROJECT_SOURCE_DIR}/include/vorin_media.hpp ${PROJECT_SOURCE_DIR}/include/vorin_installation.hpp
          ${PROJECT_SOURCE_DIR}/include/vorin_jobs.hpp ${PROJECT_SOURCE_DIR}/include/vorin_picture.hpp ${PROJECT_SOURCE_DIR}/include/vorin_error.hpp
    TYPE INCLUDE
    COMPONENT development)
  install(TARGETS vorin_stt_embedded vorin_media_clips LIBRARY DESTINATION ${vorin_runtime_dir} COMPONENT media)
  install(
    DIRECTORY ${PROJECT_BINARY_DIR}/embedded
    DESTINATION ${vorin_runtime_dir}
    USE_SOURCE_PERMISSIONS
    COMPONENT media)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/vorin_media.pc.in ${PROJECT_BINARY_DIR}/vorin_media.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/vorin_media.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

# ---- development ----
set(vorin_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vorin_stt)
install(
  EXPORT vorin_sttTargets
  NAMESPACE vorin_stt::
  FILE vorin_sttConfig.cmake # needs no other package: the library's dependencies are private
  DESTINATION ${vorin_package_dir}
  COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vorin_sttConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vorin_sttConfigVersion.cmake DESTINATION ${vorin_package_dir} COMPONENT development)
if(NOT WIN32)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/vorin_stt.pc.in ${PROJECT_BINARY_DIR}/vorin_stt.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/vorin_stt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

if(MINGW)
  install(FILES ${PROJECT_BINARY_DIR}/vorin_stt.lib DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development) # for MSVC
  install(FILES ${PROJECT_SOURCE_DIR}/docs/windows-package/README.txt DESTINATION . COMPONENT library)
endif()

# ---- the inference runtime: only the parts that read IR and ONNX networks and run them on GPUs and processors ----
set(vorin_runtime_wanted "openvino(\\.|_c\\.|_intel_[cg]pu_plugin|_(ir|onnx)_frontend)|tbb(12|\\.|bind)|hwloc|cache\\.json")
install(
  DIRECTORY $<TARGET_FILE_DIR:openvino::runtime>/
  DESTINATION ${vorin_runtime_dir}
  COMPONENT library
  FILES_MATCHING
  REGEX "/(lib)?(${vorin_runtime_wanted})[^/]*$"
  PATTERN "*.lib" EXCLUDE
  PATTERN "*_debug*" EXCLUDE
  PATTERN "*.pc" EXCLUDE)

# ---- programs, models, papers ----
if(VORIN_BUILD_TOOLS)
  if(NOT WIN32)
    set_target_properties(vorin-stylize vorin-pack PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "${vorin_program_rpath}")
    include(ManPage)
    vorin_add_man_page(vorin-stylize "repaint pictures in an artistic style")
    vorin_add_man_page(vorin-pack "make and check packages of style networks")
    install(
      FILES ${PROJECT_SOURCE_DIR}/scripts/completions/vorin-stylize ${PROJECT_SOURCE_DIR}/scripts/completions/vorin-pack
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
      COMPONENT programs)
  endif()
  if(WIN32)
    include(${PROJECT_SOURCE_DIR}/softgpu/InstallSoftwareDevice.cmake)
    vorin_install_software_device(${vorin_runtime_dir})
  endif()
  if(MINGW)
    file(GLOB vorin_libav_dlls ${PROJECT_SOURCE_DIR}/build/windows-deps/libav/bin/*.dll)
    install(PROGRAMS ${vorin_libav_dlls} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/windows-deps/libav/licenses/ DESTINATION ${vorin_license_dir}/libav COMPONENT programs)
  endif()
  install(TARGETS vorin-stylize vorin-pack RUNTIME COMPONENT programs)
endif()
install(
  FILES ${PROJECT_SOURCE_DIR}/build/models-portable/model_st.bin ${PROJECT_SOURCE_DIR}/build/models-portable/painting.png
  DESTINATION ${vorin_model_dir}
  COMPONENT models
  OPTIONAL)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION ${vorin_doc_dir} COMPONENT library)
# The licences of the inference runtime and of its parts.
if(MINGW)
  file(GLOB vorin_runtime_licenses ${PROJECT_SOURCE_DIR}/build/windows-deps/openvino/licenses/*)
  # OpenCV and the compiler's libraries are inside the DLL and the programs.
  install(FILES ${PROJECT_SOURCE_DIR}/build/windows-deps/opencv/LICENSE DESTINATION ${vorin_license_dir}/opencv COMPONENT library)
  foreach(package IN ITEMS gcc-mingw-w64-base mingw-w64-common libz-mingw-w64-dev libcli11-dev nlohmann-json3-dev)
    install(FILES /usr/share/doc/${package}/copyright DESTINATION ${vorin_license_dir}/${package} COMPONENT library OPTIONAL)
  endforeach()
elseif(NOT WIN32)
  file(GLOB_RECURSE vorin_runtime_licenses ${PROJECT_SOURCE_DIR}/build/venv/lib/python3*/site-packages/openvino-*.dist-info/licenses/*)
endif()
install(FILES ${vorin_runtime_licenses} DESTINATION ${vorin_license_dir}/openvino COMPONENT library)
