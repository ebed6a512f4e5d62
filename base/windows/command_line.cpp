#include "../command_line.h"

#include "wide_text.h" // with windows.h, which shellapi.h stands on

#include <memory>
#include <shellapi.h>
#include <span>

namespace vorin::base {

// main gets the arguments in the code page, which lacks characters that file names have; so the system is asked for them.
std::vector<std::string> utf8Arguments(int count, const char* const* arguments) {
  int wide_count = 0;
  const std::unique_ptr<wchar_t*, decltype(&LocalFree)> wide(CommandLineToArgvW(GetCommandLineW(), &wide_count), LocalFree);
  if (wide == nullptr) {
    return {arguments, arguments + count};
  }
  std::vector<std::string> texts;
  for (const wchar_t* argument : std::span(wide.get(), static_cast<std::size_t>(wide_count))) {
    texts.push_back(utf8FromWide(argument));
  }
  return texts;
}

} // namespace vorin::base
