# OpenCL for MinGW: Debian's headers, and an import library made from the list of the loader's functions. Windows' own OpenCL.dll is loaded
# with the program.
find_path(
  OpenCL_INCLUDE_DIR CL/cl.h
  PATHS ${PROJECT_SOURCE_DIR}/build/windows-deps/include
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(OpenCL_INCLUDE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(
  OpenCL
  REQUIRED_VARS OpenCL_INCLUDE_DIR CMAKE_DLLTOOL
  REASON_FAILURE_MESSAGE "run scripts/setup --windows")

if(OpenCL_FOUND AND NOT TARGET OpenCL::OpenCL)
  set(OpenCL_INCLUDE_DIRS ${OpenCL_INCLUDE_DIR})
  set(opencl_functions ${CMAKE_CURRENT_LIST_DIR}/OpenCL.def)
  set(OpenCL_LIBRARY ${PROJECT_BINARY_DIR}/libOpenCL.dll.a)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${opencl_functions})
  execute_process(COMMAND ${CMAKE_DLLTOOL} -d ${opencl_functions} -l ${OpenCL_LIBRARY} COMMAND_ERROR_IS_FATAL ANY)
  add_library(OpenCL::OpenCL UNKNOWN IMPORTED GLOBAL)
  set_target_properties(OpenCL::OpenCL PROPERTIES IMPORTED_LOCATION ${OpenCL_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES
                                                                                      ${OpenCL_INCLUDE_DIR})
endif()
