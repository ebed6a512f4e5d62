# OpenVINO for MinGW: its C++ interface is made for another compiler, so the target openvino::runtime carries compat/mingw, which implements
# the same interface over the C one, and the runtime's C library. scripts/windows-dependencies lays the files out.
set(vorin_windows_deps ${PROJECT_SOURCE_DIR}/build/windows-deps)
find_file(
  OpenVINO_C_DLL openvino_c.dll
  PATHS ${vorin_windows_deps}/openvino/libs
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_file(
  OpenVINO_C_IMPORT_LIBRARY openvino_c.lib
  PATHS ${vorin_windows_deps}/openvino/libs
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(OpenVINO_C_DLL OpenVINO_C_IMPORT_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(
  OpenVINO
  REQUIRED_VARS OpenVINO_C_DLL OpenVINO_C_IMPORT_LIBRARY
  REASON_FAILURE_MESSAGE "run scripts/setup --windows")

if(OpenVINO_FOUND AND NOT TARGET openvino::runtime)
  add_library(openvino::runtime SHARED IMPORTED GLOBAL)
  set_target_properties(
    openvino::runtime
    PROPERTIES IMPORTED_LOCATION ${OpenVINO_C_DLL}
               IMPORTED_IMPLIB ${OpenVINO_C_IMPORT_LIBRARY}
               IMPORTED_NO_SYSTEM ON # compat/mingw is this project's own code and gets its warnings
               INTERFACE_INCLUDE_DIRECTORIES "${PROJECT_SOURCE_DIR}/compat/mingw;${vorin_windows_deps}/include"
               INTERFACE_SYSTEM_INCLUDE_DIRECTORIES ${vorin_windows_deps}/include)
endif()
