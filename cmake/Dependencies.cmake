# The libraries that the project calls. docs/dependencies.md says why each is there.

# OpenVINO comes as a wheel, which scripts/setup unpacks into the venv below build/. Another copy may be named with -DOpenVINO_DIR.
if(NOT OpenVINO_DIR)
  file(GLOB vorin_openvino_dirs ${PROJECT_SOURCE_DIR}/build/venv/lib/python3*/site-packages/openvino/cmake)
  list(APPEND CMAKE_PREFIX_PATH ${vorin_openvino_dirs})
endif()
find_package(OpenVINO 2026.4.1 REQUIRED COMPONENTS Runtime)

find_package(OpenCV 4.5 REQUIRED COMPONENTS core imgproc)
find_package(OpenCL 1.2 REQUIRED)
find_package(OpenCLHeadersCpp QUIET)
find_path(VORIN_OPENCL_HPP_DIR CL/opencl.hpp REQUIRED)
