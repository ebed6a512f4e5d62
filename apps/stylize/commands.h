// commands.h: the program's commands; each has one function and one file.
#pragma once

#include "exit_status.h"

namespace vorin::stylize {

struct Options;

// Restyles images, clips and pipes: one into a file, or many into a folder.
base::ExitStatus restyle(const Options& options);

base::ExitStatus restyleMany(const Options& options);

// Writes one image with pictures beside their originals: each input in all styles, or in each look of a folder of style images.
base::ExitStatus makeSheet(const Options& options);

// Restyles a built-in picture in all five styles and compares the results with the expected ones. Without an expected
// result, a result must have the picture's size and differ from it.
base::ExitStatus testItself(const Options& options);

// Lists the GPUs.
base::ExitStatus listDevices(const Options& options);

// Lists versions, devices, and the networks of the package.
base::ExitStatus printInfo(const Options& options);

} // namespace vorin::stylize
