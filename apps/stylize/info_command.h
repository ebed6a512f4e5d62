// info_command.h: what there is: versions, devices, and the networks of the package.
#pragma once

#include "arguments.h"
#include "exit_status.h"
#include "stylizer.h"

#include <nlohmann/json_fwd.hpp>
#include <vector>

namespace vorin::stylize {

ExitStatus printInfo(const Arguments& arguments);

// An array of kinds and names.
nlohmann::ordered_json jsonOf(const std::vector<Gpu>& gpus);

} // namespace vorin::stylize
