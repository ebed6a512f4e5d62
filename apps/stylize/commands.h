// commands.h: what the program does, one function and one file a command.
#pragma once

#include "exit_status.h"

namespace vorin::stylize {

struct Options;

// Restyles images, clips and pipes, one into a file or many into a folder.
base::ExitStatus restyle(const Options& options);

base::ExitStatus restyleMany(const Options& options);

// Writes one image with pictures beside their originals: each input in all styles, or in each look of a folder of style images.
base::ExitStatus makeSheet(const Options& options);

// Restyles a built-in picture in all five styles and compares the results with what is known of them. A result of which nothing
// is known still has to have the picture's size and to differ from it.
base::ExitStatus testItself(const Options& options);

// Lists the GPUs.
base::ExitStatus listDevices(const Options& options);

// Lists what there is: versions, devices, and the networks of the package.
base::ExitStatus printInfo(const Options& options);

} // namespace vorin::stylize
