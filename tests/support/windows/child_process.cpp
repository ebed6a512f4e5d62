#include "support/child_process.h"

#include "support/test_environment.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <list>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>
#include <windows.h>

namespace vorin::tests {
namespace {

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

// Texts are UTF-8; a path made of a narrow text would be in the code page.
std::wstring wide(const std::string& text) {
  return fs::path(std::u8string(text.begin(), text.end())).wstring();
}

// Quotes an argument as programs parse a command line: each backslash before a quotation mark is doubled.
std::wstring quoted(const std::wstring& argument) {
  std::wstring text = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'"') {
      text.append(backslashes + 1, L'\\');
    }
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    text += character;
  }
  return text.append(backslashes, L'\\') + L'"';
}

std::wstring commandLine(const std::vector<std::string>& arguments) {
  std::wstring line;
  for (const std::string& argument : arguments) {
    line += (line.empty() ? L"" : L" ") + quoted(wide(argument));
  }
  return line;
}

// ---- Programs of the system below Wine, which tells nothing of their end: a shell writes their exit status into a file ----

bool isNative(const std::string& program) {
  return !program.ends_with(".exe");
}

// The text with each path on a drive as that system has it: drive Z: is all of it, and C: a folder of Wine's own. A program for
// Windows becomes the script beside it that starts it.
std::string nativeText(const std::string& text) {
  const char* wine = std::getenv("WINEPREFIX"); // NOLINT(concurrency-mt-unsafe): nothing here changes the environment
  std::string native;
  bool is_path = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto at = [&](std::size_t place) { return place < text.size() ? static_cast<unsigned char>(text[place]) : 0; };
    if (std::isalpha(at(i)) != 0 && at(i + 1) == ':' && (at(i + 2) == '\\' || at(i + 2) == '/') &&
        (i == 0 || std::isalnum(at(i - 1)) == 0)) {
      is_path = true;
      native += at(i) == 'Z' || wine == nullptr ? "" : std::string(wine) + "/drive_c";
      ++i;
      continue;
    }
    is_path = is_path && std::isspace(at(i)) == 0 && at(i) != '\'' && at(i) != '"';
    native += is_path && at(i) == '\\' ? '/' : text[i];
  }
  return native.ends_with(".exe") ? native.substr(0, native.size() - 4) : native;
}

// Nor does Wine always give them the standard streams that this process would give them.
std::vector<std::string> throughShell(const std::vector<std::string>& arguments, const fs::path& status, const fs::path& output,
                                      const fs::path& error) {
  std::vector<std::string> line = {
      "Z:\\bin\\sh", "-c", "exec < /dev/null > \"$1\" 2> \"$2\"; shift 2; \"$@\"; echo $? > \"$0.new\" && mv \"$0.new\" \"$0\""};
  for (const fs::path& file : {status, output, error}) {
    line.push_back(nativeText(file.string()));
  }
  std::transform(arguments.begin(), arguments.end(), std::back_inserter(line), nativeText);
  return line;
}

int statusIn(const fs::path& file) {
  while (!fs::exists(file)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return std::stoi(readFile(file));
}

// ---- Programs for Windows ----

Handle openFile(const fs::path& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE handle = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inheritable,
                              disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot open " + path.string());
  }
  return Handle(handle);
}

// One that the compiler's headers lack.
template <typename Function> Function systemFunction(const char* library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA(library), name)));
}

// A console without a window, of the child's own: Ctrl-C reaches whatever has it.
class Console {
public:
  Console() {
    HANDLE input = nullptr;
    HANDLE output = nullptr;
    CreatePipe(&input, &keys_, nullptr, 0);
    CreatePipe(&screen_, &output, nullptr, 0);
    const auto create = systemFunction<HRESULT(WINAPI*)(COORD, HANDLE, HANDLE, DWORD, void**)>("kernel32", "CreatePseudoConsole");
    // Wine names a console's pipe by this thread, and the console before may still hold one of that name.
    waitUntil([&] { return create != nullptr && SUCCEEDED(create({80, 25}, input, output, 0, &console_)); });
    if (console_ == nullptr) {
      throw std::runtime_error("cannot make a console");
    }
    CloseHandle(input);
    CloseHandle(output);
  }
  ~Console() {
    CloseHandle(screen_); // before the console, which would wait for somebody to read
    CloseHandle(keys_);
    systemFunction<void(WINAPI*)(void*)>("kernel32", "ClosePseudoConsole")(console_);
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  void* get() const { return console_; }

private:
  HANDLE keys_ = nullptr;
  HANDLE screen_ = nullptr;
  void* console_ = nullptr;
};

Handle startProgram(std::wstring line, const ChildSetting& setting, const Console* console, HANDLE output, HANDLE error) {
  const Handle input = openFile("NUL", GENERIC_READ, OPEN_EXISTING);
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = input.get();
  startup.StartupInfo.hStdOutput = output;
  startup.StartupInfo.hStdError = error;
  std::vector<std::byte> attributes; // make it a process of the console
  if (console != nullptr) {
    constexpr DWORD_PTR kConsole = 0x00020016; // PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE
    SIZE_T size_bytes = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size_bytes);
    attributes.resize(size_bytes);
    startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes.data());
    InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size_bytes);
    UpdateProcThreadAttribute(startup.lpAttributeList, 0, kConsole, console->get(), sizeof(void*), nullptr, nullptr);
  }
  std::list<ScopedVariable> variables; // the child inherits them
  for (const auto& [name, value] : setting.variables) {
    variables.emplace_back(name, value);
  }
  PROCESS_INFORMATION process{};
  // A child that is killed while Wine makes it a console leaves the console's process behind, which holds this program's streams.
  const DWORD flags = EXTENDED_STARTUPINFO_PRESENT | (console == nullptr ? DETACHED_PROCESS : 0U);
  const wchar_t* folder = setting.working_folder.empty() ? nullptr : setting.working_folder.c_str();
  BOOL is_started = FALSE;
  DWORD reason = 0;
  for (int tries = 0; is_started == FALSE && tries < 3; ++tries) { // under Wine one start in thousands fails
    is_started =
        CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, flags, nullptr, folder, &startup.StartupInfo, &process);
    if (is_started == FALSE) {
      reason = GetLastError();
      std::cerr << "a child process did not start (error " << reason << ")\n";
      Sleep(100);
    }
  }
  if (console != nullptr) {
    DeleteProcThreadAttributeList(startup.lpAttributeList);
  }
  if (is_started == FALSE) {
    throw std::runtime_error("cannot start a child process (error " + std::to_string(reason) + "): " + fs::path(line).string());
  }
  static_cast<void>(Handle(process.hThread));
  return Handle(process.hProcess);
}

std::string asText(std::string content) {
  content.erase(std::remove(content.begin(), content.end(), '\r'), content.end());
  return content;
}

} // namespace

struct ChildProcess::Running {
  ~Running() {
    if (process) {
      TerminateProcess(process.get(), 1);
      WaitForSingleObject(process.get(), INFINITE);
    }
  }

  fs::path file(const char* name) const { return folder.path() / name; }

  TemporaryFolder folder; // of the files that the child writes and the test reads afterwards
  std::optional<Console> console;
  Handle process;
  bool is_native = false;
};

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const ChildSetting& setting)
    : running_(std::make_unique<Running>()) {
  const fs::path output_file = setting.standard_output.value_or(running_->file("output"));
  const Handle output = openFile(output_file, GENERIC_WRITE, OPEN_ALWAYS);
  const Handle error = openFile(running_->file("error"), GENERIC_WRITE, CREATE_ALWAYS);
  if (setting.gets_signals) {
    running_->console.emplace();
  }
  running_->is_native = isNative(arguments.front());
  const std::wstring line = commandLine(
      running_->is_native ? throughShell(arguments, running_->file("status"), output_file, running_->file("error")) : arguments);
  running_->process = startProgram(line, setting, running_->console ? &*running_->console : nullptr, output.get(), error.get());
}

ChildProcess::~ChildProcess() = default;

void ChildProcess::signal(int /*number*/) const {
  // Sends Ctrl-C to all processes of the child's console, which this process joins for the moment. (Wine knows no other event and
  // no smaller group.)
  const auto ignore = [](DWORD) -> BOOL { return TRUE; };
  FreeConsole();
  if (!running_->console || AttachConsole(GetProcessId(running_->process.get())) == FALSE) {
    throw std::runtime_error("the child process gets no signals");
  }
  SetConsoleCtrlHandler(ignore, TRUE);
  GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
  WaitForSingleObject(running_->process.get(), INFINITE); // this process ignores the event until it has come
  SetConsoleCtrlHandler(ignore, FALSE);
  FreeConsole();
}

void ChildProcess::kill() const {
  TerminateProcess(running_->process.get(), 1);
}

void ChildProcess::pause() const {
  systemFunction<LONG(WINAPI*)(HANDLE)>("ntdll", "NtSuspendProcess")(running_->process.get());
}

void ChildProcess::goOn() const {
  systemFunction<LONG(WINAPI*)(HANDLE)>("ntdll", "NtResumeProcess")(running_->process.get());
}

ChildResult ChildProcess::wait() {
  DWORD status = 0;
  if (running_->is_native) {
    status = static_cast<DWORD>(statusIn(running_->file("status")));
  } else {
    WaitForSingleObject(running_->process.get(), INFINITE);
    GetExitCodeProcess(running_->process.get(), &status);
    running_->process.reset();
  }
  const auto written = [this](const char* name) {
    const std::string bytes = readFile(running_->file(name));
    return running_->is_native ? bytes : asText(bytes);
  };
  return {static_cast<int>(status), written("output"), written("error")};
}

} // namespace vorin::tests
