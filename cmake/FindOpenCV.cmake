# Finds OpenCV by its own CMake package or, where there is none, module by module: Debian keeps the package file in libopencv-dev, which
# brings every module and 150 packages with it, while the modules' own -dev packages hold all that is used here.
#
# Defines the targets opencv_<module> for the components asked for, OpenCV_INCLUDE_DIRS and OpenCV_VERSION.
find_package(OpenCV ${OpenCV_FIND_VERSION} QUIET CONFIG COMPONENTS ${OpenCV_FIND_COMPONENTS})
if(OpenCV_FOUND)
  return()
endif()

find_path(OpenCV_INCLUDE_DIRS opencv2/core/version.hpp PATH_SUFFIXES opencv4)
if(OpenCV_INCLUDE_DIRS)
  file(STRINGS ${OpenCV_INCLUDE_DIRS}/opencv2/core/version.hpp opencv_version_lines REGEX "#define CV_VERSION_(MAJOR|MINOR|REVISION) ")
  string(REGEX REPLACE "[^0-9;]" "" opencv_version_numbers "${opencv_version_lines}")
  string(REPLACE ";" "." OpenCV_VERSION "${opencv_version_numbers}")
endif()

set(opencv_libraries)
foreach(module IN LISTS OpenCV_FIND_COMPONENTS)
  find_library(OpenCV_${module}_LIBRARY opencv_${module})
  mark_as_advanced(OpenCV_${module}_LIBRARY)
  list(APPEND opencv_libraries OpenCV_${module}_LIBRARY)
  if(OpenCV_${module}_LIBRARY AND NOT TARGET opencv_${module})
    add_library(opencv_${module} UNKNOWN IMPORTED GLOBAL)
    set_target_properties(
      opencv_${module} PROPERTIES IMPORTED_LOCATION ${OpenCV_${module}_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES "${OpenCV_INCLUDE_DIRS}")
  endif()
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(
  OpenCV
  REQUIRED_VARS OpenCV_INCLUDE_DIRS ${opencv_libraries}
  VERSION_VAR OpenCV_VERSION)
