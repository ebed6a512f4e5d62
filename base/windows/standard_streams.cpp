#include "../standard_streams.h"

#include "console_code_page.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace vorin::base {
namespace {

std::atomic<UINT> code_page_before = 0; // 0: nothing to put back

extern "C" void restoreAtExit() {
  restoreConsoleCodePage();
}

} // namespace

void prepareStandardStreams() {
  for (std::FILE* stream : {stdin, stdout, stderr}) {
    static_cast<void>(_setmode(_fileno(stream), _O_BINARY));
  }
  const UINT before = GetConsoleOutputCP(); // 0: there is no console
  if (before != 0 && before != CP_UTF8 && SetConsoleOutputCP(CP_UTF8) != FALSE) {
    code_page_before = before;
    static_cast<void>(std::atexit(restoreAtExit));
  }
}

void restoreConsoleCodePage() {
  if (const UINT before = code_page_before.exchange(0)) {
    SetConsoleOutputCP(before);
  }
}

} // namespace vorin::base
