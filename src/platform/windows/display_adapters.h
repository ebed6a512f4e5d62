// Display adapters of Windows, as DXGI lists them.
#pragma once

#include "platform/platform.h"

namespace vorin::platform {

// Lists through a DXGI library, loaded for the purpose and unloaded again. A bare name is searched for in the system's
// folder only; a full path names one file. Empty if the library, its entry or its factory is missing; an adapter without
// a description is left out.
std::vector<DisplayAdapter> listDisplayAdaptersThrough(const wchar_t* dxgi_library);

} // namespace vorin::platform
