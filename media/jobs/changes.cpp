// Tells what changed since a job was planned: the decisions, and the inputs.
#include "files.h"
#include "jobs/job_file.h"
#include "text.h"

#include <chrono>
#include <system_error>

namespace vorin::media::jobs {
namespace {

namespace fs = std::filesystem;

std::string valueText(const Json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

} // namespace

std::string differenceOf(const Json& planned, const Json& present) {
  for (const auto& [key, value] : present.items()) {
    if (planned.contains(key) && planned.at(key) == value) {
      continue;
    }
    if (!planned.contains(key)) {
      return "it does not say the " + key;
    }
    if (value.is_object() && planned.at(key).is_object()) {
      const std::string difference = differenceOf(planned.at(key), value);
      return key == "options" ? "--" + difference : difference;
    }
    const std::string name = key == "name" ? "device" : key;
    const bool is_sum = key == "package" || key == "style image" || key == "size";
    return is_sum ? name + " is another" : name + " was " + valueText(planned.at(key)) + " and is " + valueText(value);
  }
  return "";
}

std::string sumOfFile(const fs::path& file, std::uint64_t bytes, const JobHooks& hooks) {
  return base::sha256OfFile(file, 0, bytes, 0, [&](std::uint64_t done_bytes) {
    if (hooks.on_read) {
      hooks.on_read(done_bytes, bytes);
    }
    return hooks.cancelled == nullptr || !*hooks.cancelled;
  });
}

FileState sizeAndTimeOf(const fs::path& file) {
  std::error_code error;
  FileState state;
  state.bytes = fs::file_size(file, error);
  if (error) {
    throw Error(ErrorKind::kInputOutput,
                base::quotedPath(file) + " cannot be read (" + error.message() + "): check its name and permissions");
  }
  const auto modified = std::chrono::file_clock::to_sys(fs::last_write_time(file, error));
  state.modified_ns = std::chrono::duration_cast<std::chrono::nanoseconds>(modified.time_since_epoch()).count();
  return state;
}

FileState stateOf(const fs::path& file, const JobHooks& hooks, const FileState* known) {
  FileState state = sizeAndTimeOf(file);
  const bool seems_same = known != nullptr && known->hasSizeAndTimeOf(state);
  state.sha256 = seems_same ? known->sha256 : sumOfFile(file, state.bytes, hooks);
  return state;
}

bool requireUnchanged(PlannedInput& input, bool thoroughly, const JobHooks& hooks) {
  const FileState now = stateOf(input.input.file, hooks, thoroughly ? nullptr : &input.file);
  if (now.sha256.empty()) {
    return false;
  }
  if (now.sha256 != input.file.sha256) {
    throw Error(ErrorKind::kInputOutput,
                base::quotedPath(input.input.file) +
                    " has changed since the job was planned: bring the former file back, or plan a new job");
  }
  input.file = now;
  return true;
}

} // namespace vorin::media::jobs
