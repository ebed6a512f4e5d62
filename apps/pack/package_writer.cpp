#include "cancellation.h"
#include "files.h"
#include "modelpack/model_package_format.h"
#include "output_file.h"
#include "packing.h"
#include "text.h"
#include "vorin_error.hpp"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <set>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;
using base::quoted;
using base::quotedPath;

constexpr std::uint64_t kNumberBytes = 8; // size and offset of a record

Error failure(const std::string& line) {
  return {ErrorKind::kInputOutput, line};
}

void requireUsableName(const std::string& name) {
  const std::string reason = unusableAsFileName(name);
  if (!reason.empty()) {
    throw failure("the entry name " + quoted(name) + " " + reason + ": give the entry a plain file name");
  }
  if (name.size() >= modelpack::kNameBufferBytes) {
    throw failure("the entry name '" + name.substr(0, 32) + "...' has " + std::to_string(name.size()) +
                  " bytes: shorten it to at most " + std::to_string(modelpack::kNameBufferBytes - 1));
  }
}

void requireUsableNames(const std::vector<PackedFile>& files) {
  std::set<std::string> seen;
  for (const PackedFile& file : files) {
    requireUsableName(file.entry_name);
    if (!seen.insert(file.entry_name).second) {
      throw failure("two files would become the entry " + quoted(file.entry_name) +
                    ": give one another name with --name ENTRY=FILE");
    }
  }
}

std::uint32_t checkedSize(const fs::path& file) {
  std::error_code error;
  const std::uintmax_t size_bytes = fs::file_size(file, error);
  if (error) {
    throw failure(quotedPath(file) + " cannot be read (" + error.message() + "): check the name and its permissions");
  }
  if (size_bytes > modelpack::kMaxEntryBytes) {
    throw failure(quotedPath(file) + " has " + std::to_string(size_bytes) + " bytes, and an entry holds at most " +
                  std::to_string(modelpack::kMaxEntryBytes) + ": make the network smaller");
  }
  return static_cast<std::uint32_t>(size_bytes);
}

struct Place {
  std::uint32_t size_bytes;
  std::uint32_t offset_bytes;
};

struct Layout {
  std::map<fs::path, Place> places;
  std::vector<fs::path> order;
};

Layout layOut(const std::vector<PackedFile>& files) {
  std::uint64_t offset_bytes = 1 + kNumberBytes;
  for (const PackedFile& file : files) {
    offset_bytes += file.entry_name.size() + 1 + kNumberBytes;
  }
  Layout layout;
  for (const PackedFile& file : files) {
    if (layout.places.count(file.file) > 0) {
      continue;
    }
    const std::uint32_t size_bytes = checkedSize(file.file);
    if (offset_bytes > modelpack::kMaxEntryOffset) {
      throw failure(quotedPath(file.file) +
                    " would begin beyond the first 2 GiB of the package, where the library does not reach: "
                    "pack fewer or smaller networks");
    }
    layout.places[file.file] = {size_bytes, static_cast<std::uint32_t>(offset_bytes)};
    layout.order.push_back(file.file);
    offset_bytes += size_bytes;
  }
  return layout;
}

void appendNumber(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
  for (unsigned shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

std::vector<std::uint8_t> directoryBytes(const std::vector<PackedFile>& files, const Layout& layout) {
  std::vector<std::uint8_t> bytes;
  for (const PackedFile& file : files) {
    bytes.insert(bytes.end(), file.entry_name.begin(), file.entry_name.end());
    bytes.push_back(0);
    const Place& place = layout.places.at(file.file);
    appendNumber(bytes, place.size_bytes);
    appendNumber(bytes, place.offset_bytes);
  }
  bytes.insert(bytes.end(), 1 + kNumberBytes, 0);
  return bytes;
}

void copyScrambled(const fs::path& file, std::uint32_t size_bytes, base::OutputFile& output) {
  std::ifstream input(file, std::ios::binary);
  std::vector<std::uint8_t> part(std::size_t{1} << 16U);
  std::uint64_t copied_bytes = 0;
  while (input) {
    base::throwIfCancelled();
    input.read(reinterpret_cast<char*>(part.data()), static_cast<std::streamsize>(part.size()));
    const std::span<std::uint8_t> bytes = std::span(part).first(static_cast<std::size_t>(input.gcount()));
    for (std::uint8_t& byte : bytes) {
      byte ^= modelpack::kPackageKey;
    }
    output.write(bytes);
    copied_bytes += bytes.size();
  }
  if (copied_bytes != size_bytes) {
    throw failure(quotedPath(file) + " cannot be read whole: check its permissions, and that no other program is changing it");
  }
}

} // namespace

std::string unusableAsFileName(const std::string& name) {
  if (name.empty()) {
    return "is empty";
  }
  if (name == "." || name == "..") {
    return "names a folder";
  }
  if (name.find_first_of("/\\:") != std::string::npos) {
    return "holds a path separator";
  }
  if (std::any_of(name.begin(), name.end(), base::isControl)) {
    return "holds a control character";
  }
  return base::isReservedFileName(name) ? "is not a valid file name on this system" : "";
}

void writePackage(const std::vector<PackedFile>& files, const fs::path& package, bool overwrite) {
  requireUsableNames(files);
  const Layout layout = layOut(files);
  base::OutputFile output(package, overwrite);
  output.write(directoryBytes(files, layout));
  for (const fs::path& file : layout.order) {
    copyScrambled(file, layout.places.at(file).size_bytes, output);
  }
  output.commit();
}

} // namespace vorin::pack
