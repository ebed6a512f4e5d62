// The kernels that the library's own are measured against, as one NUL-terminated text: a copy of the image, and both filters
// written down step by step without a thought for speed. The build makes it from plain_kernels.cl.
#pragma once

namespace vorin::bench {

extern const char* const kPlainKernelText;

} // namespace vorin::bench
