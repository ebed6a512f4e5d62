#include "progress.h"

#include "cancellation.h"
#include "report.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

namespace vorin::stylize {
namespace {

constexpr std::chrono::milliseconds kEvery(250);
constexpr double kSecondsWithoutTotal = 5;     // between two lines if the total is unknown, or the inputs are few
constexpr std::int64_t kInputsWithTenths = 20; // from so many on, a line for each tenth

// "0:07", "1:02:03".
std::string clockText(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
  const std::int64_t hours = whole / 3600;
  std::ostringstream text;
  text << std::setfill('0');
  if (hours > 0) {
    text << hours << ':' << std::setw(2);
  }
  text << whole / 60 % 60 << ':' << std::setw(2) << whole % 60;
  return text.str();
}

std::int64_t partOf(const ProgressState& state, std::int64_t whole) {
  return *state.total == 0 ? whole : std::min(whole, state.done * whole / *state.total);
}

// "1 image", "12 of 27 images".
std::string countText(const ProgressState& state, const std::string& unit) {
  const std::int64_t counted = state.total.value_or(state.done);
  return std::to_string(state.done) + (state.total ? " of " + std::to_string(*state.total) : "") + ' ' +
         (counted == 1 ? unit.substr(0, unit.size() - 1) : unit);
}

// "12 of 27 images, 2.1 a second, 0:07 left".
std::string figures(const ProgressState& state, const std::string& unit) {
  std::ostringstream text;
  text << countText(state, unit) << ", " << std::fixed << std::setprecision(1) << state.perSecond() << " a second";
  if (const auto left = state.secondsLeft()) {
    text << ", " << clockText(*left) << " left";
  }
  return text.str();
}

} // namespace

ProgressKind progressKind(bool wants_json, bool quiet) {
  if (wants_json) {
    return ProgressKind::kJson;
  }
  if (quiet) {
    return ProgressKind::kNone;
  }
  return base::isTerminal(base::Stream::kError) ? ProgressKind::kBar : ProgressKind::kLines;
}

double ProgressState::perSecond() const {
  return elapsed_s > 0 ? static_cast<double>(done - before) / elapsed_s : 0;
}

std::optional<double> ProgressState::secondsLeft() const {
  return total && done > before ? std::optional(static_cast<double>(std::max<std::int64_t>(*total - done, 0)) / perSecond())
                                : std::nullopt;
}

std::string progressBar(const ProgressState& state, const std::string& unit, int columns) {
  constexpr int kBarColumns = 24;
  std::ostringstream bar;
  if (state.total) {
    const auto filled = static_cast<std::size_t>(partOf(state, kBarColumns));
    bar << '[' << std::string(filled, '#') << std::string(kBarColumns - filled, '.') << "] " << std::setw(3) << partOf(state, 100)
        << " %  ";
  }
  bar << figures(state, unit);
  return bar.str().substr(0,
                          static_cast<std::size_t>(std::max(columns - 1, 0))); // text in the last column would begin a new line
}

std::string progressLine(const ProgressState& state, const std::string& unit) {
  return (state.total ? std::to_string(partOf(state, 100)) + " %, " : "") + figures(state, unit);
}

std::string progressJson(const ProgressState& state, const std::string& unit) {
  const auto rounded = [](double number) { return std::round(number * 1000) / 1000; };
  const auto left = state.secondsLeft();
  const nlohmann::ordered_json json = {
      {"done", state.done},
      {"total", state.total ? nlohmann::ordered_json(*state.total) : nlohmann::ordered_json()},
      {"unit", unit},
      {"per_second", rounded(state.perSecond())},
      {"elapsed_seconds", rounded(state.elapsed_s)},
      {"seconds_left", left ? nlohmann::ordered_json(rounded(*left)) : nlohmann::ordered_json()}};
  return json.dump();
}

Progress::Progress(ProgressKind kind, std::string unit, std::optional<std::int64_t> total, std::int64_t before)
    : kind_(kind), unit_(std::move(unit)), done_(before), total_(total), before_(before) {
  if (kind_ == ProgressKind::kBar || kind_ == ProgressKind::kJson) {
    show();
    thread_ = std::thread([this] { keepShowing(); });
  }
}

Progress::~Progress() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  ended_.notify_one();
  if (thread_.joinable()) {
    thread_.join();
  }
  clearBar();
}

void Progress::update(std::int64_t done) {
  const std::lock_guard lock(mutex_);
  done_ = done;
  if (kind_ == ProgressKind::kLines) {
    showLine();
  }
}

// The bar comes back to what it counted once the file is read.
void Progress::updateReading(std::uint64_t done_bytes, std::uint64_t bytes) {
  constexpr std::uint64_t kMegabyte = 1'000'000;
  constexpr std::uint64_t kLarge = 256 * kMegabyte; // less is read in a moment
  if (bytes < kLarge) {
    return;
  }
  const std::lock_guard lock(mutex_);
  if (!reading_) {
    reading_start_ = std::chrono::steady_clock::now();
    std::swap(tenths_shown_, other_tenths_shown_);
  }
  reading_ = {static_cast<std::int64_t>(done_bytes / kMegabyte), static_cast<std::int64_t>(bytes / kMegabyte), 0, 0};
  if (kind_ == ProgressKind::kLines) {
    showLine();
  }
  if (done_bytes >= bytes) {
    reading_.reset();
    tenths_shown_ = std::exchange(other_tenths_shown_, 0);
  }
}

void Progress::say(const std::string& line) {
  const std::lock_guard lock(mutex_);
  clearBar();
  printLine(line);
}

void Progress::finish() {
  const std::lock_guard lock(mutex_);
  ends_ = true; // erase the bar: the report repeats its last figures
  clearBar();
  if (kind_ == ProgressKind::kJson) {
    show();
  }
}

void Progress::finishAll(std::int64_t done) {
  {
    const std::lock_guard lock(mutex_);
    total_ = done;
  }
  update(done);
  finish();
}

ProgressState Progress::state() const {
  ProgressState state = reading_.value_or(ProgressState{done_, total_, 0, before_});
  const auto elapsed = std::chrono::steady_clock::now() - (reading_ ? reading_start_ : start_);
  state.elapsed_s = std::chrono::duration<double>(elapsed).count();
  return state;
}

const std::string& Progress::unit() const {
  static const std::string reading = "MB";
  return reading_ ? reading : unit_;
}

void Progress::show() {
  if (kind_ == ProgressKind::kJson) {
    error_.write(progressJson(state(), unit()) + "\n");
    return;
  }
  std::string bar = progressBar(state(), unit(), base::terminalColumns());
  const std::size_t columns = bar.size();
  bar.resize(std::max(columns, bar_columns_), ' '); // covers the rest of a longer bar
  base::cancellationEndsALine(true);
  error_.write(bar.insert(0, 1, '\r'));
  bar_columns_ = columns;
}

void Progress::showLine() {
  const ProgressState now = state();
  const bool shows_tenths = now.total && (unit() == "frames" || *now.total >= kInputsWithTenths);
  const bool is_due = shows_tenths ? partOf(now, 10) > tenths_shown_ : now.elapsed_s >= shown_s_ + kSecondsWithoutTotal;
  if (is_due) {
    tenths_shown_ = now.total ? partOf(now, 10) : 0;
    shown_s_ = now.elapsed_s;
    printLine(progressLine(now, unit()));
  }
}

void Progress::clearBar() {
  if (bar_columns_ > 0) {
    std::string blanks(bar_columns_ + 2, ' ');
    blanks.front() = blanks.back() = '\r';
    error_.write(blanks);
    bar_columns_ = 0;
    base::cancellationEndsALine(false);
  }
}

void Progress::keepShowing() {
  std::unique_lock lock(mutex_);
  while (!ended_.wait_for(lock, kEvery, [this] { return ends_; })) {
    show();
  }
}

} // namespace vorin::stylize
