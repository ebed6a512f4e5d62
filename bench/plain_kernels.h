// The kernels that the library's own are compared with, as one NUL-terminated text: a copy of the image, and both filters written
// step by step without optimisation. The build makes it from plain_kernels.cl.
#pragma once

namespace vorin::bench {

extern const char* const kPlainKernelText;

} // namespace vorin::bench
