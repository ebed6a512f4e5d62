// A console for a child process of the tests, which has none where the tests have none.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <vector>
#include <windows.h>

namespace vorin::tests {

// A console without a window, of the child's own: Ctrl-C reaches whatever has it.
class Console {
public:
  Console() {
    HANDLE input = nullptr;
    HANDLE output = nullptr;
    CreatePipe(&input, &keys_, nullptr, 0);
    CreatePipe(&screen_, &output, nullptr, 0);
    const auto create = entry<HRESULT(WINAPI*)(COORD, HANDLE, HANDLE, DWORD, void**)>("CreatePseudoConsole");
    if (create == nullptr || FAILED(create({80, 25}, input, output, 0, &console_))) {
      throw std::runtime_error("cannot make a console");
    }
    CloseHandle(input);
    CloseHandle(output);
  }
  ~Console() {
    CloseHandle(screen_); // before the console, which would wait for somebody to read
    CloseHandle(keys_);
    entry<void(WINAPI*)(void*)>("ClosePseudoConsole")(console_);
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  void* get() const { return console_; }

private:
  // The compiler's headers are older than these functions.
  template <typename Function> static Function entry(const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA("kernel32"), name)));
  }

  HANDLE keys_ = nullptr;
  HANDLE screen_ = nullptr;
  void* console_ = nullptr;
};

// The attributes that a process of the console is started with.
class ConsoleAttributes {
public:
  explicit ConsoleAttributes(void* console) {
    constexpr DWORD_PTR kConsole = 0x00020016; // PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE
    SIZE_T size_bytes = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size_bytes);
    storage_.resize(size_bytes);
    InitializeProcThreadAttributeList(get(), 1, 0, &size_bytes);
    UpdateProcThreadAttribute(get(), 0, kConsole, console, sizeof console, nullptr, nullptr);
  }
  ~ConsoleAttributes() { DeleteProcThreadAttributeList(get()); }
  ConsoleAttributes(const ConsoleAttributes&) = delete;
  ConsoleAttributes& operator=(const ConsoleAttributes&) = delete;

  LPPROC_THREAD_ATTRIBUTE_LIST get() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data()); }

private:
  std::vector<std::byte> storage_;
};

} // namespace vorin::tests
