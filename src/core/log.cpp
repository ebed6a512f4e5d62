#include "core/log.h"

#include "platform/platform.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

namespace vorin {
namespace {

constexpr std::uint32_t kToDebugger = 1;
constexpr std::uint32_t kToFile = 2;
constexpr std::size_t kLineBytes = 256;
constexpr int kFlushAfterMs = 2000;

struct LogState {
  std::uint32_t log_switch = 0;
  std::FILE* file = nullptr; // no owner: it outlives every object that is given back through the C door
  std::int64_t frequency = platform::performanceFrequency();
  std::int64_t last_flush = 0;
  std::int64_t now = 0;
  double elapsed_ms = 0.0; // since the last flush, at the last line
};

LogState log_state;

void writeToFile(const char* line) {
  // The line itself is the format on purpose: a "%" that reached it is expanded once more in the file, and only there.
  static_cast<void>(std::fprintf(log_state.file, line));
  log_state.now = platform::performanceCounter();
  log_state.elapsed_ms =
      static_cast<double>(log_state.now - log_state.last_flush) * 1000.0 / static_cast<double>(log_state.frequency);
  if (static_cast<std::int64_t>(log_state.elapsed_ms) > kFlushAfterMs) {
    static_cast<void>(std::fflush(log_state.file));
    log_state.last_flush = platform::performanceCounter();
  }
}

[[gnu::format(printf, 3, 4)]] bool formatLine(char* line, std::size_t size, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const bool fits = platform::formatBounded(line, size, format, arguments);
  va_end(arguments);
  return fits;
}

void writeLine(char level, const char* format, std::va_list arguments) {
  char message[kLineBytes];
  char line[kLineBytes];
  if (!platform::formatBounded(message, sizeof message, format, arguments) ||
      !formatLine(line, sizeof line, "====== sdk: [%c] %s\n", level, message)) {
    return;
  }
  if ((log_state.log_switch & kToDebugger) != 0) {
    platform::writeDebuggerOutput(line);
  }
  if ((log_state.log_switch & kToFile) != 0 && log_state.file != nullptr) {
    writeToFile(line);
  }
}

} // namespace

void sttLogError(const char* format, ...) {
  if (log_state.log_switch == 0) {
    return;
  }
  std::va_list arguments;
  va_start(arguments, format);
  writeLine('E', format, arguments);
  va_end(arguments);
}

void sttLogInfo(const char* format, ...) {
  if (log_state.log_switch == 0) {
    return;
  }
  std::va_list arguments;
  va_start(arguments, format);
  writeLine('I', format, arguments);
  va_end(arguments);
}

void sttLogVerbose(const char* format, ...) {
  if (log_state.log_switch == 0) {
    return;
  }
  std::va_list arguments;
  va_start(arguments, format);
  writeLine('V', format, arguments);
  va_end(arguments);
}

void openLog() {
  // Written only where it changes: with the log off, objects may be made while others work on other threads.
  const std::optional<std::uint32_t> log_switch = platform::readLogSwitch();
  if (log_switch && *log_switch != log_state.log_switch) {
    log_state.log_switch = *log_switch;
  }
  if ((log_state.log_switch & kToFile) == 0) {
    return;
  }
  const std::optional<std::string> app_data = platform::localAppDataFolder();
  if (!app_data) {
    return;
  }
  const std::string separator(1, platform::kPathSeparator);
  const std::string folder = *app_data + separator + "temp" + separator;
  if (!platform::isFolder(folder) && !platform::makeFolder(folder)) {
    log_state.log_switch = 0;
  }
  // The doubled separator is part of the path's agreed form. A file that is already open stays open, without an owner.
  log_state.file = platform::openTextForWriting(folder + separator + "logstt.txt");
  log_state.last_flush = platform::performanceCounter();
  if (log_state.file == nullptr) {
    log_state.log_switch = 0;
  }
}

void closeLog() {
  if (log_state.file != nullptr) {
    static_cast<void>(std::fclose(log_state.file));
    log_state.file = nullptr;
  }
}

} // namespace vorin
