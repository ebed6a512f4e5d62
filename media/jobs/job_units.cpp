#include "jobs/job_units.h"

#include "files.h"
#include "output_file.h"
#include "processes.h"
#include "text.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <thread>

namespace vorin::media::jobs {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPart = ".part";

Error unwritable(const fs::path& file, const std::error_code& error) {
  return {ErrorKind::kInputOutput, base::quotedPath(file) + " cannot be written (" + error.message() +
                                       "): make room on its disk or check its permissions, and go on"};
}

// Makes the second name of a file or folder, which must be free. Returns false if it is not.
bool giveName(const fs::path& from, const fs::path& to) {
  std::error_code error;
  if (fs::is_directory(from, error)) { // a folder takes the place of an empty one at most
    if (fs::exists(to, error)) {
      return false;
    }
    base::renameFile(from, to, error); // what takes the name meanwhile is seen below
  } else {
    fs::create_hard_link(from, to, error);
    if (error == std::errc::file_exists) {
      return false;
    }
    std::error_code ignored;
    if (error && !fs::exists(to, ignored)) { // a file system without links
      base::renameFile(from, to, error);
    }
  }
  std::error_code ignored;
  if (error && fs::exists(to, ignored)) {
    return false;
  }
  if (error) {
    throw unwritable(to, error);
  }
  return true;
}

Json jsonOf(const UnitResult& result) {
  Json json = {{"frames", result.frames},
               {"seconds", result.seconds},
               {"host", result.host},
               {"delay", result.delay},
               {"last_duration", result.last_duration}};
  json["files"] = Json::array();
  for (const UnitResult::File& file : result.files) {
    json["files"].push_back({{"name", file.name}, {"bytes", file.bytes}, {"sha256", file.sha256}});
  }
  json["failures"] = Json::array();
  for (const UnitResult::Failure& failure : result.failures) {
    json["failures"].push_back({{"input", failure.input}, {"error", failure.error}});
  }
  return json;
}

UnitResult resultIn(const Json& json) {
  UnitResult result;
  result.frames = json.at("frames");
  result.seconds = json.at("seconds");
  result.host = json.at("host");
  result.delay = json.at("delay");
  result.last_duration = json.at("last_duration");
  for (const Json& file : json.at("files")) {
    result.files.push_back({file.at("name"), file.at("bytes"), file.at("sha256")});
  }
  for (const Json& failure : json.at("failures")) {
    result.failures.push_back({failure.at("input"), failure.at("error")});
  }
  return result;
}

} // namespace

UnitNames::UnitNames(const fs::path& units) : folder_(units) {
  std::error_code error;
  for (fs::directory_iterator entry(units, error), end; !error && entry != end; entry.increment(error)) {
    const std::string name = base::utf8Text(entry->path().filename());
    names_.insert(name);
    // The parts of "ID.HOST.PID.part"; the host may hold dots.
    const std::string_view rest = std::string_view(name).substr(0, name.size() - std::min(name.size(), kPart.size()));
    const std::size_t first = rest.find('.');
    const std::size_t last = rest.rfind('.');
    if (name.ends_with(kPart) && first != last) {
      Claim claim = {entry->path(), std::string(rest.substr(first + 1, last - first - 1)), 0};
      std::from_chars(rest.data() + last + 1, rest.data() + rest.size(), claim.process);
      claims_.emplace(rest.substr(0, first), std::move(claim));
    }
  }
}

bool UnitNames::Claim::isOwn() const {
  return host == base::hostName() && process == base::processId();
}

// A process of another host is known by the time of its folder alone.
bool UnitNames::Claim::isAlive() const {
  constexpr std::chrono::minutes kLongestSilence(10); // of a process that is at work
  if (host == base::hostName()) {
    return base::isRunning(process);
  }
  std::error_code error;
  const fs::file_time_type shown = fs::last_write_time(folder, error);
  return !error && fs::file_time_type::clock::now() - shown < kLongestSilence;
}

std::optional<std::string> UnitNames::worker(const PlannedUnit& unit) const {
  const auto [begin, end] = claims_.equal_range(unit.id);
  const auto other = std::find_if(begin, end, [](const auto& claim) { return !claim.second.isOwn() && claim.second.isAlive(); });
  return other == end ? std::nullopt : std::optional(other->second.host + ", process " + std::to_string(other->second.process));
}

void UnitNames::sweepClaims(const std::string& id) const {
  std::error_code ignored;
  for (const auto& [unit, claim] : claims_) {
    const bool is_left_over = id.empty() ? claim.isOwn() || !claim.isAlive() : unit == id && !claim.isAlive();
    if (is_left_over) {
      fs::remove_all(claim.folder, ignored);
    }
  }
}

void UnitNames::forgetFailures() const {
  std::error_code ignored;
  for (const std::string& name : names_) {
    if (name.ends_with(kFailedEnd)) {
      fs::remove(folder_ / base::pathFromUtf8(name), ignored);
    }
  }
}

UnitClaim::UnitClaim(const fs::path& units, const std::string& id)
    : folder_(units / (id + "." + base::hostName() + "." + std::to_string(base::processId()) + std::string(kPart))) {
  std::error_code error;
  fs::remove_all(folder_, error); // of an earlier process of that number
  fs::create_directories(folder_, error);
  if (error) {
    throw unwritable(folder_, error);
  }
}

UnitClaim::~UnitClaim() {
  std::error_code ignored;
  base::removeAll(folder_, ignored);
}

void UnitClaim::showLife() {
  constexpr std::chrono::seconds kOften(20);
  const auto now = std::chrono::steady_clock::now();
  if (now - shown_ >= kOften) {
    shown_ = now;
    base::touchFolder(folder_);
  }
}

std::string UnitStore::nameOf(const PlannedUnit& unit, std::size_t place) const {
  if (plan_.inputs[unit.inputs.front()].input.is_clip) {
    return unit.id + ".nut";
  }
  constexpr std::size_t kDigits = 4;
  const std::string number = std::to_string(place);
  return unit.id + "/" + std::string(kDigits - std::min(kDigits, number.size()), '0') + number +
         base::lowerCaseExtension(plan_.inputs[unit.inputs[place]].input.output);
}

std::optional<UnitResult> UnitStore::result(const PlannedUnit& unit, const JobHooks* reading) const {
  std::ifstream stream(okFile(unit), std::ios::binary);
  if (!stream) {
    return std::nullopt;
  }
  try {
    UnitResult result = resultIn(Json::parse(std::string{std::istreambuf_iterator<char>(stream), {}}));
    const bool is_clip = plan_.inputs[unit.inputs.front()].input.is_clip;
    if (result.frames != unit.frames(plan_.inputs) ||
        result.files.size() + result.failures.size() != (is_clip ? 1 : unit.inputs.size())) {
      return std::nullopt;
    }
    std::size_t place = 0;
    for (const UnitResult::File& file : result.files) {
      while (place < unit.inputs.size() && nameOf(unit, place) != file.name) { // images that failed have none
        ++place;
      }
      std::error_code error;
      if (place == unit.inputs.size() || fs::file_size(folder_ / file.name, error) != file.bytes || error ||
          (reading != nullptr && sumOfFile(folder_ / file.name, file.bytes, *reading) != file.sha256)) {
        return std::nullopt;
      }
    }
    return result;
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

std::unique_ptr<UnitClaim> UnitStore::claim(const PlannedUnit& unit) const {
  auto claim = std::make_unique<UnitClaim>(folder_, unit.id);
  const UnitNames now(folder_);
  if (now.worker(unit)) { // both came at the same moment, and both leave it: one will be first the next time
    return nullptr;
  }
  now.sweepClaims(unit.id);
  return claim;
}

void UnitStore::finish(const PlannedUnit& unit, const UnitClaim& claim, UnitResult result) const {
  result.host = base::hostName();
  for (UnitResult::File& file : result.files) {
    const fs::path made = claim.folder() / file.name;
    std::error_code error;
    file.bytes = fs::file_size(made, error);
    if (error) {
      throw unwritable(made, error);
    }
    file.sha256 = sumOfFile(made, file.bytes, {});
  }
  const std::string text = jsonOf(result).dump(1) + "\n";
  const fs::path ok = claim.folder() / "ok";
  {
    base::OutputFile file(ok, true);
    file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.commitDurably();
  }
  const bool is_clip = plan_.inputs[unit.inputs.front()].input.is_clip;
  const std::string name = is_clip ? nameOf(unit) : unit.id;
  if (!giveName(claim.folder() / name, folder_ / name)) {
    // Another process was faster, and will say so in a moment; or it ended in between, or its files are damaged.
    constexpr std::chrono::milliseconds kMoment(2000);
    if (!this->result(unit)) {
      std::this_thread::sleep_for(kMoment);
    }
    if (this->result(unit)) {
      return;
    }
    discard(unit);
    if (!giveName(claim.folder() / name, folder_ / name)) {
      return;
    }
  }
  std::error_code ignored;
  if (!giveName(ok, okFile(unit)) && !this->result(unit)) { // one that was forged, or of files that were removed
    fs::remove(okFile(unit), ignored);
    giveName(ok, okFile(unit));
  }
  forgetFailure(unit);
}

void UnitStore::discard(const PlannedUnit& unit) const {
  std::error_code ignored;
  fs::remove(okFile(unit), ignored);
  fs::remove_all(folder_ / (plan_.inputs[unit.inputs.front()].input.is_clip ? nameOf(unit) : unit.id), ignored);
}

UnitFailure UnitStore::failure(const PlannedUnit& unit) const {
  std::ifstream stream(failureFile(unit), std::ios::binary);
  const Json json = stream ? Json::parse(stream, nullptr, false) : Json();
  try {
    return stream ? UnitFailure{json.at("tries"), json.at("may_pass"), json.at("error")} : UnitFailure();
  } catch (const nlohmann::json::exception&) { // of a disk that was full
    return {1, true, "the reason was not written"};
  }
}

UnitFailure UnitStore::noteFailure(const PlannedUnit& unit, const std::string& error, bool may_pass) const {
  UnitFailure failed = {failure(unit).tries + 1, may_pass, base::oneLine(error)};
  const Json json = {{"tries", failed.tries}, {"may_pass", failed.may_pass}, {"error", failed.error}};
  const std::string text = json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
  base::OutputFile file(failureFile(unit), true);
  file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  file.commit();
  return failed;
}

void UnitStore::forgetFailure(const PlannedUnit& unit) const {
  std::error_code ignored;
  fs::remove(failureFile(unit), ignored);
}

void UnitStore::sweep() const {
  UnitNames(folder_).sweepClaims({});
  base::removeTemporariesIn(folder_, std::chrono::hours(24));
}

} // namespace vorin::media::jobs
