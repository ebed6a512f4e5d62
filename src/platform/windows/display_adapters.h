// Display adapters of Windows: what DXGI lists.
#pragma once

#include "platform/platform.h"

namespace vorin::platform {

// Lists through a DXGI library, loaded for the purpose and unloaded again. A bare name is looked for in the system's folder and
// nowhere else; a full path names one file. Empty where the library, its entry or its factory is missing; an adapter that does
// not describe itself is left out.
std::vector<DisplayAdapter> listDisplayAdaptersThrough(const wchar_t* dxgi_library);

} // namespace vorin::platform
