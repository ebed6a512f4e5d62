// The OpenCL C source of both filters as one NUL-terminated text, stippling first. The build makes it from the .cl files, so the
// library needs no files beside it.
#pragma once

namespace vorin::gpufilters {

extern const char* const kProgramText;

} // namespace vorin::gpufilters
