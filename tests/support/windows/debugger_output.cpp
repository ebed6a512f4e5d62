// OutputDebugString raises an exception that a debugger would catch. A handler in front of all others takes its text instead, and
// tells the call that it was heard.
#include "support/debugger_output.h"

#include <mutex>
#include <windows.h>

namespace vorin::tests {
namespace {

constexpr DWORD kPrintedText = 0x40010006; // DBG_PRINTEXCEPTION_C: length with the NUL, text

std::mutex guard;
std::string collected;
void* handler = nullptr;

LONG CALLBACK collect(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode != kPrintedText || record.NumberParameters < 2) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  const std::lock_guard<std::mutex> lock(guard);
  collected += reinterpret_cast<const char*>(record.ExceptionInformation[1]);
  return EXCEPTION_CONTINUE_EXECUTION;
}

} // namespace

DebuggerOutput::DebuggerOutput() {
  collected.clear();
  handler = AddVectoredExceptionHandler(1, collect);
}

DebuggerOutput::~DebuggerOutput() {
  if (!taken_) {
    take();
  }
}

std::string DebuggerOutput::take() {
  taken_ = true;
  RemoveVectoredExceptionHandler(handler);
  return std::move(collected);
}

} // namespace vorin::tests
