// job_units.h: the folder units of a job: which units are done, who works on which, and how one is finished. Private to this
// folder.
//
// ID.nut             a clip's unit, ID/ one of images: complete
// ID.ok              says that the unit is done, with the sums of its files; made after them, by a link, so that of two processes
//                    that finish one unit exactly one succeeds
// ID.HOST.PID.part/  the work of a process, which also tells others to leave the unit to it
// ID.failed          how many tries of the unit failed, of all processes, and why the last one did
#pragma once

#include "jobs/job_file.h"

#include <chrono>
#include <map>
#include <set>

namespace vorin::media::jobs {

inline constexpr const char* kOkEnd = ".ok";
inline constexpr const char* kFailedEnd = ".failed";

struct UnitResult {
  struct File {
    std::string name; // in the folder units
    std::uint64_t bytes = 0;
    std::string sha256;
  };
  struct Failure {
    std::size_t input = 0;
    std::string error;
  };
  std::int64_t frames = 0;
  int delay = 0;                  // of a clip's packets
  std::int64_t last_duration = 0; // of a clip's last frame
  std::vector<File> files;
  std::vector<Failure> failures; // images without a result
  double seconds = 0;
  std::string host;
};

// The tries of a unit that failed, of all processes together.
struct UnitFailure {
  int tries = 0;         // 0: none failed
  bool may_pass = false; // another try may succeed
  std::string error;     // of the last one

  bool isFinal(int most_tries) const { return tries > 0 && (!may_pass || tries >= most_tries); }
};

// The work of this process on a unit, in a folder of its own that the destructor removes.
class UnitClaim {
public:
  UnitClaim(const std::filesystem::path& units, const std::string& id);
  ~UnitClaim();
  UnitClaim(const UnitClaim&) = delete;
  UnitClaim& operator=(const UnitClaim&) = delete;

  const std::filesystem::path& folder() const { return folder_; }
  void showLife(); // to be called often; does something now and then

private:
  std::filesystem::path folder_;
  std::chrono::steady_clock::time_point shown_ = std::chrono::steady_clock::now();
};

// What the folder of units held at one moment. A job has thousands of units: one look serves for all of them.
class UnitNames {
public:
  explicit UnitNames(const std::filesystem::path& units);

  bool haveResult(const PlannedUnit& unit) const { return names_.contains(unit.id + kOkEnd); }
  bool haveFailure(const PlannedUnit& unit) const { return names_.contains(unit.id + kFailedEnd); }

  // The other process that works on the unit, for the user: "host, process 123".
  std::optional<std::string> worker(const PlannedUnit& unit) const;

  // Removes the claims on a unit whose processes are gone; for no unit, those on all, and this process's own, which an earlier
  // process of its number left.
  void sweepClaims(const std::string& id) const;

  void forgetFailures() const; // of all units

private:
  struct Claim {
    std::filesystem::path folder;
    std::string host;
    int process = 0;

    bool isOwn() const;
    bool isAlive() const;
  };

  std::filesystem::path folder_;
  std::set<std::string> names_;
  std::multimap<std::string, Claim> claims_; // by the unit's id
};

class UnitStore {
public:
  explicit UnitStore(const Plan& plan) : plan_(plan), folder_(plan.folder / "units") {}

  const std::filesystem::path& folder() const { return folder_; }

  // The file of a unit's result: of a clip's unit, or of the image at a place in its list.
  std::string nameOf(const PlannedUnit& unit, std::size_t place = 0) const;

  // Nothing if the unit is not done, or if its files do not have their sizes. reading: nor if they do not have their sums, nor if
  // these hooks cancelled the reading.
  std::optional<UnitResult> result(const PlannedUnit& unit, const JobHooks* reading = nullptr) const;

  // Takes the unit for this process; null if another one has taken it just now.
  std::unique_ptr<UnitClaim> claim(const PlannedUnit& unit) const;

  // Completes the unit with the files in the claim's folder, whose names end as nameOf says. Does nothing if another process was
  // faster.
  void finish(const PlannedUnit& unit, const UnitClaim& claim, UnitResult result) const;

  void discard(const PlannedUnit& unit) const; // has it done again

  UnitFailure failure(const PlannedUnit& unit) const;
  UnitFailure noteFailure(const PlannedUnit& unit, const std::string& error, bool may_pass) const; // of one more try
  void forgetFailure(const PlannedUnit& unit) const;

  // Removes what processes left that are gone.
  void sweep() const;

private:
  std::filesystem::path failureFile(const PlannedUnit& unit) const { return folder_ / (unit.id + kFailedEnd); }
  std::filesystem::path okFile(const PlannedUnit& unit) const { return folder_ / (unit.id + kOkEnd); }

  const Plan& plan_;
  std::filesystem::path folder_;
};

// failures: where those of single images go.
JobState::Unit stateOfUnit(const Plan& plan, const UnitStore& store, const UnitNames& names, const PlannedUnit& planned,
                           std::vector<std::string>* failures = nullptr);
JobState stateOfPlan(const Plan& plan);

} // namespace vorin::media::jobs
