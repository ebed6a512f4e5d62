// openvino.hpp: everything of ov:: that this project uses, for MinGW, over the runtime's C API. The runtime's own C++ interface
// is made for another compiler: names and objects of its C++ library mean nothing to MinGW, while the C functions of
// openvino_c.dll do. So these headers stand at the same paths and declare the same names. Where they differ from the original,
// the header says so.
#pragma once

#include <openvino/core/except.hpp>
#include <openvino/core/layout.hpp>
#include <openvino/core/model.hpp>
#include <openvino/core/partial_shape.hpp>
#include <openvino/core/preprocess/pre_post_process.hpp>
#include <openvino/core/type/element_type.hpp>
#include <openvino/runtime/core.hpp>
#include <openvino/runtime/exception.hpp>
#include <openvino/runtime/properties.hpp>
