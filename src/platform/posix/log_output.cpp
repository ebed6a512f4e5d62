// The log's switch, debugger output and formatting on POSIX systems: an environment variable, standard error, and stdio.
#include "platform/platform.h"

#include <charconv>
#include <cstdlib>
#include <cstring>

namespace vorin::platform {

std::optional<std::uint32_t> readLogSwitch() {
  const char* text = std::getenv("VORIN_DUMP_ST_LOG"); // NOLINT(concurrency-mt-unsafe): the library never writes the environment
  if (text == nullptr) {
    return std::nullopt;
  }
  std::uint32_t value = 0;
  const char* end = text + std::strlen(text);
  const auto [parsed, error] = std::from_chars(text, end, value);
  if (error != std::errc() || parsed != end) {
    return std::nullopt;
  }
  return value;
}

void writeDebuggerOutput(const char* line) {
  static_cast<void>(std::fputs(line, stderr));
}

bool formatBounded(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
  return std::vsnprintf(buffer, size, format, arguments) >= 0; // cuts what does not fit
}

void copyBounded(char* buffer, std::size_t size, const char* text) {
  const void* end = std::memchr(text, '\0', size);
  if (end == nullptr) {
    buffer[0] = '\0';
    return;
  }
  std::memcpy(buffer, text, static_cast<std::size_t>(static_cast<const char*>(end) - text) + 1);
}

} // namespace vorin::platform
