// c_api.hpp: the C API's own headers.
#pragma once

// windows.h has a type of the name that the C API gives to an enumerator.
#define BOOLEAN OV_BOOLEAN
#include <openvino/c/ov_common.h>
#include <openvino/c/ov_compiled_model.h>
#include <openvino/c/ov_core.h>
#include <openvino/c/ov_infer_request.h>
#include <openvino/c/ov_layout.h>
#include <openvino/c/ov_model.h>
#include <openvino/c/ov_node.h>
#include <openvino/c/ov_partial_shape.h>
#include <openvino/c/ov_prepostprocess.h>
#include <openvino/c/ov_property.h>
#include <openvino/c/ov_shape.h>
#include <openvino/c/ov_tensor.h>
#undef BOOLEAN
