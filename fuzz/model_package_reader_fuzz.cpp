// Reads any bytes as a package: the library's reader must return the same status, and write the same bytes, as a plain reader of
// the format.
//
// The first byte of the input chooses the entry's name, the rest is the package. The one case in which the reader does not end,
// an entry that runs past the end of the file, is recognised by the plain reader and skipped.
#include "modelpack/model_package_reader.h"
#include "support/package_bytes.h"
#include "support/test_environment.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace vorin;
namespace fs = std::filesystem;
using modelpack::ModelPackageReader;
using modelpack::PackageStatus;

struct Reading {
  PackageStatus status;
  std::string content = {};
};

// The expected result; nothing for the endless case.
std::optional<Reading> plainReading(const std::string& package, const std::string& wanted) {
  for (std::size_t position = 0;;) {
    const std::size_t zero = package.find('\0', position);
    if (zero == std::string::npos || zero - position > 1023 || package.size() - zero < 9) {
      return Reading{PackageStatus::kError};
    }
    const std::string name = package.substr(position, zero - position);
    const std::uint32_t size = tests::numberAt(package, zero + 1);
    const std::uint32_t offset = tests::numberAt(package, zero + 5);
    if (size > 0x40000000) {
      return Reading{PackageStatus::kError};
    }
    if (name == wanted) {
      if (offset > 0x7FFFFFFF) {
        return Reading{PackageStatus::kError};
      }
      if (size > 0 && std::uint64_t{offset} + size > package.size()) {
        return std::nullopt;
      }
      return Reading{PackageStatus::kWritten, tests::scrambled(size == 0 ? std::string() : package.substr(offset, size))};
    }
    if (name.empty()) {
      return Reading{PackageStatus::kNoSuchEntry};
    }
    position = zero + 9;
  }
}

// An even choice reads the name at some place of the package, so that names are often found; an odd one is a fixed name.
std::string wantedName(std::uint8_t choice, const std::string& package) {
  if (choice % 2 == 0) {
    const std::size_t start = package.empty() ? 0 : choice * std::size_t{7} % package.size();
    return package.substr(start, package.find('\0', start) - start).substr(0, 1100);
  }
  return choice % 4 == 1 ? "net.xml" : "";
}

[[noreturn]] void fail(const char* what, const std::string& wanted) {
  static_cast<void>(std::fprintf(stderr, "%s for the entry '%s'\n", what, wanted.c_str()));
  std::abort();
}

void check(const fs::path& folder, const std::string& package, const std::string& wanted) {
  const std::optional<Reading> expected = plainReading(package, wanted);
  if (!expected) {
    return;
  }
  const fs::path target = folder / "target";
  fs::remove(target);
  fs::remove(folder / "package"); // faster than emptying it
  tests::writeFile(folder / "package", package);
  if (ModelPackageReader((folder / "package").wstring(), wanted, target.string()) != expected->status) {
    fail("another status", wanted);
  }
  if (fs::exists(target) != (expected->status == PackageStatus::kWritten)) {
    fail("a target file too many or too few", wanted);
  }
  if (tests::readFile(target) != expected->content) {
    fail("other bytes", wanted);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const tests::TemporaryFolder folder;
  if (size > 0) {
    const std::string package(reinterpret_cast<const char*>(data) + 1, size - 1);
    check(folder.path(), package, wantedName(data[0], package));
  }
  return 0;
}
