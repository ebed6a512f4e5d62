#include "jobs/job_units.h"

#include "output_file.h"
#include "processes.h"
#include "text.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <system_error>
#include <thread>

namespace vorin::media::jobs {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPart = ".part";
constexpr std::chrono::minutes kLongestSilence(10); // of a process that is at work

struct Claim {
  std::string id;
  std::string host;
  int process = 0;
};

// The parts of "ID.HOST.PID.part"; the host may hold dots. Nothing for another name.
std::optional<Claim> claimOf(const fs::path& folder) {
  const std::string name = base::utf8Text(folder.filename());
  if (!name.ends_with(kPart)) {
    return std::nullopt;
  }
  const std::string_view rest(name.data(), name.size() - kPart.size());
  const std::size_t first = rest.find('.');
  const std::size_t last = rest.rfind('.');
  if (first == std::string_view::npos || first == last) {
    return std::nullopt;
  }
  Claim claim = {std::string(rest.substr(0, first)), std::string(rest.substr(first + 1, last - first - 1)), 0};
  std::from_chars(rest.data() + last + 1, rest.data() + rest.size(), claim.process);
  return claim;
}

bool isOwn(const Claim& claim) {
  return claim.host == base::hostName() && claim.process == base::processId();
}

// A process of another host is known by the time of its folder alone.
bool isAlive(const Claim& claim, const fs::path& folder) {
  if (claim.host == base::hostName()) {
    return base::isRunning(claim.process);
  }
  std::error_code error;
  const fs::file_time_type shown = fs::last_write_time(folder, error);
  return !error && fs::file_time_type::clock::now() - shown < kLongestSilence;
}

std::vector<fs::path> entriesOf(const fs::path& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    entries.push_back(entry->path());
  }
  return entries;
}

Error unwritable(const fs::path& file, const std::error_code& error) {
  return {ErrorKind::kInputOutput, base::quotedPath(file) + " cannot be written (" + error.message() +
                                       "): make room on its disk or check its permissions, and go on"};
}

// Makes the second name of a file or folder, which must be free. Returns false if it is not.
bool giveName(const fs::path& from, const fs::path& to) {
  std::error_code error;
  if (fs::is_directory(from, error)) { // a folder takes the place of an empty one at most
    fs::rename(from, to, error);
    if (error == std::errc::directory_not_empty || error == std::errc::file_exists) {
      return false;
    }
  } else {
    fs::create_hard_link(from, to, error);
    if (error == std::errc::file_exists) {
      return false;
    }
    std::error_code ignored;
    if (error && !fs::exists(to, ignored)) { // a file system without links
      fs::rename(from, to, error);
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
  fs::remove_all(folder_, ignored);
}

void UnitClaim::showLife() {
  constexpr std::chrono::seconds kOften(20);
  const auto now = std::chrono::steady_clock::now();
  if (now - shown_ >= kOften) {
    shown_ = now;
    std::error_code ignored;
    fs::last_write_time(folder_, fs::file_time_type::clock::now(), ignored);
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

std::optional<UnitResult> UnitStore::result(const PlannedUnit& unit, bool thoroughly) const {
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
          (thoroughly && base::sha256OfFile(folder_ / file.name, 0, file.bytes) != file.sha256)) {
        return std::nullopt;
      }
    }
    return result;
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

std::optional<std::string> UnitStore::worker(const PlannedUnit& unit) const {
  for (const fs::path& entry : entriesOf(folder_)) {
    const std::optional<Claim> claim = claimOf(entry);
    if (claim && claim->id == unit.id && !isOwn(*claim) && isAlive(*claim, entry)) {
      return claim->host + ", process " + std::to_string(claim->process);
    }
  }
  return std::nullopt;
}

std::unique_ptr<UnitClaim> UnitStore::claim(const PlannedUnit& unit) const {
  if (worker(unit)) {
    return nullptr;
  }
  auto claim = std::make_unique<UnitClaim>(folder_, unit.id);
  if (worker(unit)) { // both came at the same moment, and both leave it: one will be first the next time
    return nullptr;
  }
  sweepClaims(unit.id);
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
    file.sha256 = base::sha256OfFile(made, 0, file.bytes);
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

std::string UnitStore::failure(const PlannedUnit& unit) const {
  std::ifstream stream(folder_ / (unit.id + ".failed"), std::ios::binary);
  return stream ? base::oneLine({std::istreambuf_iterator<char>(stream), {}}) : "";
}

void UnitStore::noteFailure(const PlannedUnit& unit, const std::string& error) const {
  base::OutputFile file(folder_ / (unit.id + ".failed"), true);
  file.write({reinterpret_cast<const std::uint8_t*>(error.data()), error.size()});
  file.commit();
}

void UnitStore::forgetFailure(const PlannedUnit& unit) const {
  std::error_code ignored;
  fs::remove(folder_ / (unit.id + ".failed"), ignored);
}

void UnitStore::sweepClaims(const std::string& id) const {
  std::error_code ignored;
  for (const fs::path& entry : entriesOf(folder_)) {
    const std::optional<Claim> claim = claimOf(entry);
    const bool is_meant = claim && (id.empty() || claim->id == id);
    if (is_meant && ((id.empty() && isOwn(*claim)) || !isAlive(*claim, entry))) {
      fs::remove_all(entry, ignored);
    }
  }
}

void UnitStore::sweep() const {
  sweepClaims({});
  base::removeTemporariesIn(folder_, std::chrono::hours(24));
}

} // namespace vorin::media::jobs
