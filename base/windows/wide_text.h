// wide_text.h: the system's own text, which is UTF-16, and the programs', which is UTF-8.
#pragma once

#include <string>
#include <string_view>
#include <windows.h>

namespace vorin::base {

std::string utf8FromWide(std::wstring_view wide);

} // namespace vorin::base
