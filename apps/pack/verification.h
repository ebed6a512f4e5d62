// verification.h: whether a package holds all that the library can ask it for, in a form that the library can use.
#pragma once

#include "network_names.h"

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace vorin::pack {

// What is wrong with the package and how to mend it, one a line; networks other than the wanted ones are not looked at. Throws a
// Failure when the package cannot be read at all.
std::vector<std::string> verifyPackage(const std::filesystem::path& package, std::span<const CatalogueNetwork> wanted);

} // namespace vorin::pack
