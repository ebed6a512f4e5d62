#include "platform/posix/display_adapters.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <dirent.h>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

namespace vorin::platform {
namespace {

constexpr std::uint64_t kDisplayController = 0x03; // the base class, in the topmost of the class code's three bytes

// sysfs writes numbers either in decimal or as "0x..." in hexadecimal.
std::optional<std::uint64_t> readNumber(const std::filesystem::path& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"), std::fclose);
  char word[32];
  if (!file || std::fscanf(file.get(), "%31s", word) != 1) {
    return std::nullopt;
  }
  const std::string_view text = word;
  const bool hexadecimal = text.starts_with("0x");
  const char* begin = text.data() + (hexadecimal ? 2 : 0);
  const char* end = text.data() + text.size();
  std::uint64_t value = 0;
  const auto [parsed, error] = std::from_chars(begin, end, value, hexadecimal ? 16 : 10);
  if (error != std::errc() || parsed != end) {
    return std::nullopt;
  }
  return value;
}

// Not std::filesystem::directory_iterator: it ends the process if memory is short.
std::vector<std::filesystem::path> entriesOf(const std::string& folder) {
  std::vector<std::filesystem::path> entries;
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(folder.c_str()), ::closedir);
  while (const dirent* const entry = listing ? ::readdir(listing.get()) : nullptr) {
    if (entry->d_name[0] != '.') {
      entries.push_back(std::filesystem::path(folder) / entry->d_name);
    }
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

} // namespace

std::vector<DisplayAdapter> listDisplayAdaptersBelow(const std::string& devices_folder) {
  std::vector<DisplayAdapter> adapters;
  for (const std::filesystem::path& entry : entriesOf(devices_folder)) {
    const auto device_class = readNumber(entry / "class");
    const auto vendor = readNumber(entry / "vendor");
    const auto device = readNumber(entry / "device");
    if (!device_class || *device_class >> 16 != kDisplayController || !vendor || !device) {
      continue;
    }
    adapters.push_back({static_cast<std::uint32_t>(*vendor), static_cast<std::uint32_t>(*device),
                        readNumber(entry / "mem_info_vram_total").value_or(0)});
  }
  return adapters;
}

std::vector<DisplayAdapter> listDisplayAdapters() {
  return listDisplayAdaptersBelow("/sys/bus/pci/devices");
}

} // namespace vorin::platform
