// console_code_page.h: a console shows text in a code page that belongs to the console, so it outlives the program that changes
// it.
#pragma once

namespace vorin::base {

// Puts back the one that was there before prepareStandardStreams. At the end of the program this happens by itself; for ends that
// leave out what was registered for them. Any thread may call it.
void restoreConsoleCodePage();

} // namespace vorin::base
