#include "../terminal.h"

#include "handles.h"
#include "vorin_error.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <iostream>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>
// The second needs the first.
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

namespace vorin::base {
namespace {

std::atomic<UINT> code_page_before = 0; // of the console; 0: nothing to restore

extern "C" void restoreConsoleAtExit() {
  restoreConsole();
}

constexpr DWORD kLook_ms = 20; // between two looks at a flag

// The text that other systems have for the same error.
std::string errorText(DWORD error) {
  return std::error_code(static_cast<int>(error), std::system_category()).default_error_condition().message();
}

// While it lives, ends what blocks the thread that made it once the flag is set: a pipe that is empty or full cannot be waited
// for.
class Interrupter {
public:
  explicit Interrupter(const std::atomic<bool>& cancelled) : is_done_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    HANDLE thread = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, 0, FALSE, DUPLICATE_SAME_ACCESS);
    thread_.reset(thread);
    watcher_ = std::thread([this, &cancelled] {
      while (WaitForSingleObject(is_done_.get(), kLook_ms) == WAIT_TIMEOUT) {
        if (cancelled) { // again at each look, as the first may have come between two calls
          CancelSynchronousIo(thread_.get());
        }
      }
    });
  }
  ~Interrupter() {
    SetEvent(is_done_.get());
    watcher_.join();
  }
  Interrupter(const Interrupter&) = delete;
  Interrupter& operator=(const Interrupter&) = delete;

private:
  Handle is_done_;
  Handle thread_;
  std::thread watcher_;
};

bool isEmptyPipe(HANDLE input) {
  DWORD ready_bytes = 0;
  return GetFileType(input) == FILE_TYPE_PIPE && PeekNamedPipe(input, nullptr, 0, nullptr, &ready_bytes, nullptr) != FALSE &&
         ready_bytes == 0;
}

std::FILE* fileOf(Stream stream) {
  return stream == Stream::kOutput ? stdout : stderr;
}

// Called before the stream is shut, so that earlier text appears, and before it reopens, so that text in between is lost.
void flush(Stream stream) {
  if (stream == Stream::kOutput) {
    std::cout.flush();
  }
  static_cast<void>(std::fflush(fileOf(stream)));
}

// Surrogates without their partner become replacement characters.
std::string utf8FromWide(std::wstring_view wide) {
  const int length = static_cast<int>(wide.size());
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(), bytes, nullptr, nullptr);
  return text;
}

} // namespace

// Asks the system for the arguments: those of main are in the code page, which lacks characters of file names.
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

void prepareStandardStreams() {
  for (std::FILE* stream : {stdin, stdout, stderr}) {
    static_cast<void>(_setmode(_fileno(stream), _O_BINARY));
  }
  const UINT before = GetConsoleOutputCP(); // 0: there is no console
  if (before != 0 && before != CP_UTF8 && SetConsoleOutputCP(CP_UTF8) != FALSE) {
    code_page_before = before;
    static_cast<void>(std::atexit(restoreConsoleAtExit));
  }
}

void restoreConsole() {
  if (const UINT before = code_page_before.exchange(0)) {
    SetConsoleOutputCP(before);
  }
}

// Files are always ready. A console is read at once, since Ctrl-C ends the reading.
void waitForInput(int descriptor, const std::atomic<bool>& cancelled) {
  while (!cancelled && isEmptyPipe(handleOf(descriptor))) {
    Sleep(kLook_ms);
  }
}

std::size_t readInput(int descriptor, std::span<std::uint8_t> bytes, const std::atomic<bool>& cancelled) {
  constexpr std::size_t kPortion_bytes = std::size_t{1} << 20U;
  constexpr int kLooksForFlag = 50;
  HANDLE input = handleOf(descriptor);
  while (!cancelled) {
    std::optional<Interrupter> interrupter;
    if (isEmptyPipe(input)) {
      interrupter.emplace(cancelled);
    }
    DWORD portion = 0;
    SetLastError(ERROR_SUCCESS);
    const BOOL is_read =
        ReadFile(input, bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kPortion_bytes)), &portion, nullptr);
    const DWORD error = GetLastError();
    if (error == ERROR_OPERATION_ABORTED) { // also by Ctrl-C at a console, which sets the flag in a moment
      for (int looks = 0; looks < kLooksForFlag && !cancelled; ++looks) {
        Sleep(kLook_ms);
      }
    } else if (is_read != FALSE || error == ERROR_BROKEN_PIPE) {
      return portion;
    } else {
      throw Error(ErrorKind::kInputOutput,
                  "standard input cannot be read (" + errorText(error) + "): check what is connected to it");
    }
  }
  return 0;
}

bool writeOutput(int descriptor, std::span<const std::uint8_t> bytes, const std::atomic<bool>& cancelled) {
  constexpr std::size_t kPortion_bytes = std::size_t{1} << 16U;
  HANDLE output = handleOf(descriptor);
  std::optional<Interrupter> interrupter;
  if (GetFileType(output) == FILE_TYPE_PIPE) {
    interrupter.emplace(cancelled);
  }
  while (!bytes.empty() && !cancelled) {
    DWORD portion = 0;
    const auto size_bytes = static_cast<DWORD>(std::min(bytes.size(), kPortion_bytes));
    if (WriteFile(output, bytes.data(), size_bytes, &portion, nullptr) == FALSE && !cancelled) {
      throw Error(ErrorKind::kInputOutput, "standard output cannot be written (" + errorText(GetLastError()) +
                                               "): the program that reads it ended, or the disk is full");
    }
    bytes = bytes.subspan(portion);
  }
  return bytes.empty();
}

Quiet::Quiet(Stream stream) : stream_(stream), saved_(-1) {
  const int descriptor = _fileno(fileOf(stream_)); // below 0: the program has no such stream
  const int nowhere = descriptor < 0 ? -1 : _open("NUL", _O_WRONLY | _O_BINARY | _O_NOINHERIT);
  if (nowhere < 0) {
    return;
  }
  flush(stream_);
  saved_ = _dup(descriptor);
  if (saved_ >= 0) {
    // A library with a C runtime of its own writes to the handle that it found at its start. Were the handle closed, another file
    // could get its number.
    HANDLE handle = handleOf(descriptor);
    SetHandleInformation(handle, HANDLE_FLAG_PROTECT_FROM_CLOSE, HANDLE_FLAG_PROTECT_FROM_CLOSE);
    _dup2(nowhere, descriptor);
  }
  _close(nowhere);
}

Quiet::~Quiet() {
  if (saved_ >= 0) {
    flush(stream_);
    _dup2(saved_, _fileno(fileOf(stream_)));
    _close(saved_);
  }
}

bool isTerminal(Stream stream) {
  DWORD mode = 0; // only a console has one: NUL is a character device too
  return GetConsoleMode(GetStdHandle(stream == Stream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE), &mode) != FALSE;
}

int terminalColumns() {
  constexpr int kUsual = 80;
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  const bool is_known = GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) != FALSE;
  return is_known ? info.srWindow.Right - info.srWindow.Left + 1 : kUsual;
}

OwnStandardError::OwnStandardError() : descriptor_(_fileno(stderr) < 0 ? -1 : _dup(_fileno(stderr))) {}

OwnStandardError::~OwnStandardError() {
  if (descriptor_ >= 0) {
    _close(descriptor_);
  }
}

void OwnStandardError::write(std::string_view text) const {
  if (descriptor_ >= 0) {
    static_cast<void>(_write(descriptor_, text.data(), static_cast<unsigned>(text.size())));
  }
}

} // namespace vorin::base
