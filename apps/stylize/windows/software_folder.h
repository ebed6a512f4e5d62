// software_folder.h: where the stand-ins for the hardware lie, seen from the program: softgpu\<runtime>\, and in it a copy of the
// program.
#pragma once

namespace vorin::stylize {

constexpr const wchar_t* kSoftwareFolder = L"softgpu";

} // namespace vorin::stylize
