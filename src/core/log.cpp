#include "core/log.h"

#include "platform/platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace vorin {
namespace {

constexpr std::uint32_t kToDebugger = 1;
constexpr std::uint32_t kToFile = 2;
constexpr std::size_t kLineBytes = 256; // the limit of a line and of a message, each with its NUL
constexpr std::size_t kLongestMessage = kLineBytes - sizeof "====== sdk: [E] \n";
constexpr std::string_view kEllipsis = "...";
constexpr std::string_view kTextConversion = "%s";
constexpr int kFlushAfterMs = 2000;

struct LogState {
  std::uint32_t log_switch = 0;
  std::FILE* file = nullptr; // no owner: destroying an object through the C functions leaves it open
  std::int64_t frequency = platform::performanceFrequency();
  std::int64_t last_flush = 0;
  std::int64_t now = 0;
  double elapsed_ms = 0.0; // since the last flush, at the last line
};

LogState log_state;

// Whether the text starts with "%%" or with a conversion of a number, of three digits at most in its width and precision.
bool startsWithHarmlessConversion(std::string_view text) {
  const auto skip = [&text](std::string_view characters, std::size_t most) {
    text.remove_prefix(std::min({text.find_first_not_of(characters), text.size(), most}));
  };
  constexpr std::string_view kDigits = "0123456789";
  skip("%", 1);
  skip("-+ #0", 5);
  skip(kDigits, 3);
  if (text.starts_with('.')) {
    skip(".", 1);
    skip(kDigits, 3);
  }
  skip("hljzt", 2);
  return !text.empty() && std::string_view("%diouxXeEfFgGaA").find(text.front()) != std::string_view::npos;
}

// The line itself is the format on purpose: a "%" that reached it is expanded once more in the file, and only there. It has no
// argument, so that only a number may be printed: any other conversion stands as text, since it would read or write wherever a
// chance address leads ("%s", "%n"), or fill the disk.
void printLine(std::FILE* file, std::string_view line) {
  char format[2 * kLineBytes];
  std::size_t length = 0;
  for (std::size_t index = 0; index < line.size(); ++index) {
    format[length++] = line[index];
    if (line[index] != '%') {
      continue;
    }
    const bool is_expanded = startsWithHarmlessConversion(line.substr(index));
    format[length++] = is_expanded ? line[++index] : '%';
  }
  format[length] = '\0';
  static_cast<void>(std::fprintf(file, format));
}

void writeToFile(const char* line) {
  printLine(log_state.file, line);
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
  line[std::strlen(line) - 1] = '\n'; // a cut line has lost its line break
  if ((log_state.log_switch & kToDebugger) != 0) {
    platform::writeDebuggerOutput(line);
  }
  if ((log_state.log_switch & kToFile) != 0 && log_state.file != nullptr) {
    writeToFile(line);
  }
}

// Returns where to cut a text so that "..." after it still fits into `room` bytes.
std::size_t cutPosition(std::string_view text, std::size_t room) {
  std::size_t end = room - kEllipsis.size();
  for (int continuation = 0; continuation < 3 && end > 0 && (text[end] & 0xC0) == 0x80; ++continuation) {
    --end;
  }
  while (end > 0 && text[end - 1] == '%') {
    --end;
  }
  return end;
}

// Returns the limit of bytes for each text with which all fit into `room` bytes.
std::size_t longestText(std::initializer_list<std::string_view> texts, std::size_t room) {
  const auto fit = [&](std::size_t limit) {
    std::size_t total = 0;
    for (const std::string_view text : texts) {
      total += std::min(text.size(), limit);
    }
    return total <= room;
  };
  std::size_t limit = room;
  while (!fit(limit)) {
    --limit;
  }
  return limit;
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

void logTexts(decltype(sttLogInfo)& log, const char* format, std::initializer_list<std::string_view> texts) {
  if (log_state.log_switch == 0) {
    return;
  }
  std::string_view rest = format;
  const std::size_t limit = longestText(texts, kLongestMessage - (rest.size() - texts.size() * kTextConversion.size()));
  char message[kLineBytes];
  std::size_t length = 0;
  const auto append = [&](std::string_view part) { length += part.copy(message + length, kLongestMessage - length); };
  for (const std::string_view text : texts) {
    const std::size_t conversion = rest.find(kTextConversion);
    append(rest.substr(0, conversion));
    rest.remove_prefix(conversion + kTextConversion.size());
    if (text.size() <= limit) {
      append(text);
    } else {
      append(text.substr(0, cutPosition(text, limit)));
      append(kEllipsis);
    }
  }
  append(rest);
  message[length] = '\0';
  log("%s", message);
}

void openLog() {
  // Written only if it changes: with the log off, objects may be made while others work on other threads.
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
