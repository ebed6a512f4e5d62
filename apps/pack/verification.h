// verification.h: whether a package holds all that the library can ask it for, in a form that the library can use.
//
// Each demand on a network (its inputs' number and names, their planes, size and element type, and its output) is one of the
// library's loading (src/neural) or of what it does with the result (src/pipeline).
#pragma once

#include "modelpack/network_names.h"

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace vorin::pack {

// What is wrong with the package and how to mend it, one a line; networks other than the wanted ones are not looked at. Throws an
// Error when the package cannot be read at all.
std::vector<std::string> verifyPackage(const std::filesystem::path& package,
                                       std::span<const modelpack::NamedNetwork* const> wanted);

} // namespace vorin::pack
