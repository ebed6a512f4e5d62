// Windows programs are started as such. A program of the system that Wine runs on is started through that system's shell: Wine
// starts those too, but reports neither their end nor their exit status. The shell writes both into a file.
#include "support/child_process.h"

#include "support/package_bytes.h"
#include "support/test_environment.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cwctype>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <vector>
#include <windows.h>

namespace vorin::tests {
namespace {

namespace fs = std::filesystem;

// Variables that are read by libraries of the system below: Wine gives those of a Windows program to its children as they were
// when Wine began.
const char* const kVariablesOfTheSystemBelow[] = {"OPENCL_LAYERS", "POCL_CACHE_DIR"};

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

bool isNameless(const wchar_t* variable) {
  return variable[0] == L'='; // the current folders of the drives
}

std::wstring upper(std::wstring name) {
  std::transform(name.begin(), name.end(), name.begin(),
                 [](wchar_t letter) { return static_cast<wchar_t>(std::towupper(letter)); });
  return name;
}

std::wstring environmentWith(const std::map<std::string, std::optional<std::string>>& changes) {
  std::map<std::wstring, std::wstring> variables; // by their names in capitals, which is the order that a program gets them in
  const std::unique_ptr<wchar_t, decltype(&FreeEnvironmentStringsW)> block(GetEnvironmentStringsW(), FreeEnvironmentStringsW);
  for (const wchar_t* variable = block.get(); *variable != L'\0'; variable += std::wcslen(variable) + 1) {
    const std::wstring text = variable;
    if (!isNameless(variable)) {
      variables[upper(text.substr(0, text.find(L'=')))] = text;
    }
  }
  for (const auto& [name, value] : changes) {
    if (value) {
      variables[upper(wide(name))] = wide(name) + L"=" + wide(*value);
    } else {
      variables.erase(upper(wide(name)));
    }
  }
  std::wstring changed;
  for (const auto& [name, text] : variables) {
    changed += text + L'\0';
  }
  return changed + L'\0';
}

Handle openFile(const fs::path& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE handle = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inheritable,
                              disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot open " + path.string());
  }
  return Handle(handle);
}

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

Handle startProgram(std::wstring line, std::wstring environment, const ChildSetting& setting, const Console* console,
                    HANDLE output, HANDLE error) {
  const Handle input = openFile("NUL", GENERIC_READ, OPEN_EXISTING);
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = input.get();
  startup.StartupInfo.hStdOutput = output;
  startup.StartupInfo.hStdError = error;
  std::optional<ConsoleAttributes> attributes;
  if (console != nullptr) {
    attributes.emplace(console->get());
    startup.lpAttributeList = attributes->get();
  }
  PROCESS_INFORMATION process{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT,
                     environment.data(), setting.working_folder.empty() ? nullptr : setting.working_folder.c_str(),
                     &startup.StartupInfo, &process) == FALSE) {
    throw std::runtime_error("cannot start a child process: " + fs::path(line).string());
  }
  static_cast<void>(Handle(process.hThread));
  return Handle(process.hProcess);
}

// ---- programs of the system below ----

// The name that the system below has for a file.
std::string nameBelow(const fs::path& path) {
  using GetName = char*(CDECL*)(const wchar_t*);
  const auto get_name = reinterpret_cast<GetName>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA("kernel32"), "wine_get_unix_file_name")));
  const std::unique_ptr<char, void (*)(char*)> name(get_name == nullptr ? nullptr : get_name(fs::absolute(path).c_str()),
                                                    [](char* text) { HeapFree(GetProcessHeap(), 0, text); });
  if (!name) {
    throw std::runtime_error("not a name of the system below Wine: " + path.string());
  }
  return name.get();
}

std::string quotedForShell(const std::string& text) {
  std::string quoted_text = "'";
  for (const char character : text) {
    quoted_text += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return quoted_text + "'";
}

bool needsShell(const std::vector<std::string>& arguments, const ChildSetting& setting) {
  return arguments.front().starts_with("/") ||
         std::any_of(std::begin(kVariablesOfTheSystemBelow), std::end(kVariablesOfTheSystemBelow),
                     [&](const char* name) { return setting.variables.count(name) != 0; });
}

// The shell script, for a folder with the files "output", "error" and "status".
std::string shellScript(const std::vector<std::string>& arguments, const ChildSetting& setting, const fs::path& folder) {
  std::string script;
  for (const auto& [name, value] : setting.variables) {
    script += value ? "export " + name + "=" + quotedForShell(*value) + "\n" : "unset " + name + "\n";
  }
  if (!setting.working_folder.empty()) {
    script += "cd " + quotedForShell(nameBelow(setting.working_folder)) + "\n";
  }
  if (!arguments.front().starts_with("/")) {
    script += quotedForShell(VORIN_WITH_WINE) + " ";
  }
  for (const std::string& argument : arguments) {
    script += quotedForShell(argument) + " ";
  }
  const std::string here = nameBelow(folder);
  const std::string output = setting.standard_output ? nameBelow(*setting.standard_output) : here + "/output";
  const std::string status = quotedForShell(here + "/status");
  script += "</dev/null >" + quotedForShell(output) + " 2>" + quotedForShell(here + "/error");
  return script + "\necho $? > " + status + ".new\nmv " + status + ".new " + status + "\n"; // complete when it is there
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
  Handle process; // null: started through the shell
};

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const ChildSetting& setting)
    : running_(std::make_unique<Running>()) {
  const Handle output = setting.standard_output ? openFile(*setting.standard_output, GENERIC_WRITE, OPEN_EXISTING)
                                                : openFile(running_->file("output"), GENERIC_WRITE, CREATE_ALWAYS);
  const Handle error = openFile(running_->file("error"), GENERIC_WRITE, CREATE_ALWAYS);
  if (setting.gets_signals) {
    running_->console.emplace();
  }
  if (!needsShell(arguments, setting)) {
    running_->process = startProgram(commandLine(arguments), environmentWith(setting.variables), setting,
                                     running_->console ? &*running_->console : nullptr, output.get(), error.get());
    return;
  }
  const fs::path script = running_->file("script");
  writeFile(script, shellScript(arguments, setting, running_->folder.path()));
  startProgram(L"Z:\\bin\\sh " + quoted(wide(nameBelow(script))), environmentWith({}), {}, nullptr, output.get(), error.get());
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

ChildResult ChildProcess::wait() {
  DWORD status = 0;
  if (running_->process) {
    WaitForSingleObject(running_->process.get(), INFINITE);
    GetExitCodeProcess(running_->process.get(), &status);
    running_->process.reset();
  } else {
    while (!fs::exists(running_->file("status"))) {
      Sleep(10);
    }
    std::ifstream(running_->file("status")) >> status;
  }
  return {static_cast<int>(status), asText(readFile(running_->file("output"))), asText(readFile(running_->file("error")))};
}

} // namespace vorin::tests
