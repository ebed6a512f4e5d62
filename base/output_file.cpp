#include "output_file.h"

#include "new_file.h"
#include "output_path.h"

#include <cerrno>
#include <string>
#include <system_error>

namespace vorin::base {
namespace {

namespace fs = std::filesystem;

OutputError unwritable(const fs::path& output, const std::string& what_to_do) {
  return {output, "cannot be written (" + std::generic_category().message(errno) + "): " + what_to_do};
}

} // namespace

OutputFile::OutputFile(const fs::path& output, bool overwrite)
    : output_(checkedOutput(output, overwrite)), overwrite_(overwrite), temporary_(temporaryBeside(output_)),
      file_(makeNewFile(temporary_.path())) {
  if (file_ == nullptr) {
    throw unwritable(output, "choose another folder");
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
  moveIntoPlace(temporary_.path(), output_, overwrite_);
}

} // namespace vorin::base
