// verification.h: checks that a package holds every network that the library may load, in a form that the library can use.
//
// Each requirement on a network (its inputs' number and names, their planes, size and element type, and its output) follows
// from how the library loads it (src/neural) or uses its result (src/pipeline).
#pragma once

#include "modelpack/network_names.h"

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace vorin::pack {

// Returns what is wrong with the package and how to mend it, one problem a line. Checks the wanted networks only. Throws an Error
// if the package cannot be read at all.
std::vector<std::string> verifyPackage(const std::filesystem::path& package,
                                       std::span<const modelpack::NamedNetwork* const> wanted);

} // namespace vorin::pack
