#include "output_file.h"

#include "new_file.h"
#include "output_path.h"

#include <cerrno>
#include <string>
#include <system_error>

namespace vorin::tools {
namespace {

namespace fs = std::filesystem;

OutputError unwritable(const fs::path& output, const std::string& what_to_do) {
  return {output, "cannot be written (" + std::generic_category().message(errno) + "): " + what_to_do};
}

} // namespace

OutputFile::OutputFile(const fs::path& output, bool overwrite)
    : output_(checkedOutput(output, overwrite)), overwrite_(overwrite), temporary_(temporaryBeside(output_)),
      removed_at_exit_(temporary_), file_(makeNewFile(temporary_)) {
  if (file_ == nullptr) {
    throw unwritable(output, "choose another folder");
  }
}

OutputFile::~OutputFile() {
  file_.reset();
  if (!committed_) {
    std::error_code ignored;
    fs::remove(temporary_, ignored);
  }
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) {
    throw unwritable(output_, "make room or choose another folder");
  }
}

void OutputFile::commit() {
  // Closed before it is renamed: Windows does not rename an open file.
  if (std::fflush(file_.get()) != 0 || std::fclose(file_.release()) != 0) {
    throw unwritable(output_, "make room or choose another folder");
  }
  moveIntoPlace(temporary_, output_, overwrite_);
  committed_ = true;
}

} // namespace vorin::tools
