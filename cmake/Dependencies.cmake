# The libraries that the project calls. docs/dependencies.md gives the purpose of each.

# MinGW's variants of the packages are laid out by scripts/setup --windows and found by modules of the project's own.
if(MINGW)
  list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/mingw)
  file(GLOB OpenCV_DIR ${PROJECT_SOURCE_DIR}/build/windows-deps/opencv/x64/mingw/staticlib
       ${PROJECT_SOURCE_DIR}/build/windows-deps/opencv/lib/cmake/opencv4)
  set(ENV{PKG_CONFIG_LIBDIR} ${PROJECT_SOURCE_DIR}/build/windows-deps/libav/lib/pkgconfig)
endif()

# OpenVINO comes as a wheel, which scripts/setup unpacks into the venv below build/. Another copy may be named with -DOpenVINO_DIR.
if(NOT OpenVINO_DIR AND NOT MINGW)
  file(GLOB vorin_openvino_dirs ${PROJECT_SOURCE_DIR}/build/venv/lib/python3*/site-packages/openvino/cmake)
  list(APPEND CMAKE_PREFIX_PATH ${vorin_openvino_dirs})
endif()
find_package(OpenVINO 2026.4.1 REQUIRED COMPONENTS Runtime)

find_package(OpenCV 4.5 REQUIRED COMPONENTS core imgproc)
if(MINGW) # links zlib statically too: OpenCV's build names its import library
  get_target_property(vorin_opencv_libraries opencv_core INTERFACE_LINK_LIBRARIES)
  string(REPLACE "libz.dll.a" "libz.a" vorin_opencv_libraries "${vorin_opencv_libraries}")
  set_target_properties(opencv_core PROPERTIES INTERFACE_LINK_LIBRARIES "${vorin_opencv_libraries}")
endif()
find_package(OpenCL 1.2 REQUIRED)
find_path(VORIN_OPENCL_HPP_DIR CL/opencl.hpp HINTS ${OpenCL_INCLUDE_DIRS} NO_CMAKE_FIND_ROOT_PATH REQUIRED)
