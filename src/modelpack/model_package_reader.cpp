#include "modelpack/model_package_reader.h"

#include "core/log.h"
#include "modelpack/model_package_format.h"
#include "platform/platform.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>

namespace vorin::modelpack {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

struct Record {
  std::string name;
  std::uint32_t size_bytes = 0;
  std::int32_t offset_bytes = 0;
};

std::optional<std::uint32_t> readNumber(std::FILE* file) {
  std::array<std::uint8_t, 4> bytes = {};
  if (std::fread(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
    return std::nullopt;
  }
  std::uint32_t value = 0;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    value |= static_cast<std::uint32_t>(bytes[index]) << (8 * index);
  }
  return value;
}

std::optional<Record> readRecord(std::FILE* file) {
  Record record;
  for (int byte = std::fgetc(file); byte != 0; byte = std::fgetc(file)) {
    if (byte == EOF || record.name.size() + 1 >= kNameBufferBytes) {
      return std::nullopt;
    }
    record.name += static_cast<char>(byte);
  }
  const std::optional<std::uint32_t> size_bytes = readNumber(file);
  const std::optional<std::uint32_t> offset_bytes = readNumber(file);
  if (!size_bytes || !offset_bytes) {
    return std::nullopt;
  }
  record.size_bytes = *size_bytes;
  record.offset_bytes = static_cast<std::int32_t>(*offset_bytes);
  return record;
}

PackageStatus findRecord(std::FILE* package, const std::string& entry_name, Record& found) {
  for (;;) {
    std::optional<Record> record = readRecord(package);
    if (!record) {
      return PackageStatus::kError;
    }
    if (record->size_bytes > kMaxEntryBytes) {
      sttLogError("the file size is too big");
      return PackageStatus::kError;
    }
    if (record->name == entry_name) {
      found = std::move(*record);
      return PackageStatus::kWritten;
    }
    if (record->name.empty()) {
      return PackageStatus::kNoSuchEntry;
    }
  }
}

bool copyEntry(std::FILE* package, std::uint32_t size_bytes, std::FILE* target) {
  std::array<std::uint8_t, 4096> buffer = {};
  std::size_t remaining = size_bytes;
  while (remaining > 0) {
    const std::size_t count = std::fread(buffer.data(), 1, std::min(remaining, buffer.size()), package);
    if (std::ferror(package) != 0) {
      return false;
    }
    if (count == 0) {
      std::clearerr(package); // deliberate: the end of the file does not end the entry
    }
    std::for_each_n(buffer.begin(), count, [](std::uint8_t& byte) { byte ^= kPackageKey; });
    if (std::fwrite(buffer.data(), 1, count, target) != count) {
      return false;
    }
    remaining -= count;
  }
  return std::fflush(target) == 0;
}

} // namespace

PackageStatus ModelPackageReader(const std::wstring& package_path, const std::string& entry_name,
                                 const std::string& target_path) {
  const File package(platform::openBinaryForReading(package_path));
  if (!package) {
    return PackageStatus::kError;
  }
  Record record;
  const PackageStatus found = findRecord(package.get(), entry_name, record);
  if (found != PackageStatus::kWritten) {
    return found;
  }
  File target(platform::createBinary(target_path));
  if (!target) {
    return PackageStatus::kError;
  }
  bool written = false;
  if (record.offset_bytes < 0 || std::fseek(package.get(), record.offset_bytes, SEEK_SET) != 0) {
    sttLogError("unpack file error");
  } else {
    written = copyEntry(package.get(), record.size_bytes, target.get());
  }
  target.reset();
  if (!written) {
    static_cast<void>(std::remove(target_path.c_str()));
    return PackageStatus::kError;
  }
  return PackageStatus::kWritten;
}

} // namespace vorin::modelpack
