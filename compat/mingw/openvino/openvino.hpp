// openvino.hpp: everything of ov:: that this project uses, for MinGW, over the runtime's C API. The runtime's own C++ interface
// is made for another compiler: MinGW cannot use names and objects of its C++ library, but it can call the C functions of
// openvino_c.dll. So these headers have the same paths and declare the same names. A header that differs from the original says
// so.
#pragma once

#include <openvino/core/except.hpp>
#include <openvino/core/layout.hpp>
#include <openvino/core/model.hpp>
#include <openvino/core/partial_shape.hpp>
#include <openvino/core/preprocess/pre_post_process.hpp>
#include <openvino/core/type/element_type.hpp>
#include <openvino/runtime/core.hpp>
#include <openvino/runtime/properties.hpp>
