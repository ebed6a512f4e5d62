// The platforms and devices that a test puts in front of the real ones: queries about them, and the real device for all work.
#pragma once

#include "support/opencl_layer_state.h"

#include <CL/cl_icd.h>

namespace vorin::tests {

// `below` (the loader, or the layer under this one) with the platforms of the state, while it has any. Both must outlive the
// table.
cl_icd_dispatch withTestPlatforms(const cl_icd_dispatch& below, const OpenClLayerState& state);

// The real device in place of a test's.
cl_device_id translated(cl_device_id device);

} // namespace vorin::tests
