// progress.h: reports the progress on many inputs or frames on standard error: as a bar, as a line every 10 %, or as lines of
// JSON for another program.
//
// A thread of its own keeps the bar and the JSON going while a single image takes long.
#pragma once

#include "terminal.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace vorin::stylize {

enum class ProgressKind { kNone, kBar, kLines, kJson };

// A bar on a terminal, else lines; JSON if requested, even with --quiet.
ProgressKind progressKind(bool wants_json, bool quiet);

// The state of the work as text. total: none if it is unknown; unit: "images", "frames".
struct ProgressState {
  std::int64_t done = 0;
  std::optional<std::int64_t> total;
  double elapsed_s = 0;
  std::int64_t before = 0; // done by an earlier run

  double perSecond() const;
  std::optional<double> secondsLeft() const; // none before the first is done, and none without a total
};
std::string progressBar(const ProgressState& state, const std::string& unit, int columns);
std::string progressLine(const ProgressState& state, const std::string& unit);
std::string progressJson(const ProgressState& state, const std::string& unit);

// Thread-safety: update, say and finish, one thread at a time.
class Progress {
public:
  Progress(ProgressKind kind, std::string unit, std::optional<std::int64_t> total, std::int64_t before = 0);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void update(std::int64_t done);
  void updateReading(std::uint64_t done_bytes, std::uint64_t bytes); // shows that of a large file, until it is read
  void say(const std::string& line);                                 // prints a line above the bar
  void finish();                                                     // reports what is done so far
  void finishAll(std::int64_t done);                                 // reports `done` as the total, whatever was expected

private:
  ProgressState state() const;
  const std::string& unit() const;
  void show(); // call with mutex_ locked
  void showLine();
  void clearBar();
  void keepShowing();

  const ProgressKind kind_;
  const std::string unit_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  const base::OwnStandardError error_;
  std::mutex mutex_; // protects all members below
  std::condition_variable ended_;
  std::int64_t done_ = 0;
  std::optional<std::int64_t> total_;
  std::optional<ProgressState> reading_; // of a file, in megabytes
  std::chrono::steady_clock::time_point reading_start_;
  std::int64_t tenths_shown_ = 0;
  std::int64_t other_tenths_shown_ = 0; // of what is counted besides the file
  std::int64_t before_ = 0;
  double shown_s_ = 0;
  std::size_t bar_columns_ = 0; // 0: no bar is shown
  bool ends_ = false;
  std::thread thread_;
};

} // namespace vorin::stylize
