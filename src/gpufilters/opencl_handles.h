// Khronos' C++ wrappers of the OpenCL handles, in the one configuration that the library uses: OpenCL 1.2, errors as values.
//
// A wrapper owns its handle: the destructor releases it, and a null handle is skipped. Assigning a new handle releases the old
// one, but only after the new one was made: where memory counts, empty the wrapper first.
#pragma once

#define CL_HPP_TARGET_OPENCL_VERSION 120
#define CL_HPP_MINIMUM_OPENCL_VERSION 120

#include <CL/opencl.hpp>
