#include "commands.h"

#include "clip_command.h"
#include "device_choice.h"
#include "info_command.h"
#include "output_path.h"
#include "photo_command.h"
#include "run_report.h"
#include "selftest_command.h"
#include "sheet_command.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

namespace vorin::stylize {
namespace {

ExitStatus listDevices(const Arguments& arguments) {
  const std::vector<Gpu> gpus = Stylizer().gpus();
  if (arguments.json) {
    printJson({{"devices", jsonOf(gpus)}});
    return ExitStatus::kDone;
  }
  for (const Gpu& gpu : gpus) {
    std::cout << kindName(gpu.kind) << '\t' << gpu.name << '\n';
  }
  if (gpus.empty()) {
    printLine("no GPU found: --device software, or auto, draws on this machine's processor");
  }
  return ExitStatus::kDone;
}

ExitStatus printVersions() {
  const SttVersion library = Stylizer().version();
  std::cout << "vorin-stylize " << VORIN_STYLIZE_VERSION << "\nvorin_stt " << library.major << '.' << library.minor << '\n';
  return ExitStatus::kDone;
}

ExitStatus run(const Arguments& arguments) {
  switch (arguments.command) {
  case Command::kStylize:
    return arguments.clip ? stylizeClip(arguments) : stylizePhotos(arguments);
  case Command::kSheet:
    return makeSheet(arguments);
  case Command::kDevices:
    return listDevices(arguments);
  case Command::kInfo:
    return printInfo(arguments);
  case Command::kSelftest:
    return testItself(arguments);
  case Command::kVersion:
    return printVersions();
  case Command::kText:
    break;
  }
  std::cout << arguments.text;
  return ExitStatus::kDone;
}

ExitStatus runGuarded(const Arguments& arguments) {
  try {
    return run(arguments);
  } catch (const base::OutputError& error) {
    throw Failure(ExitStatus::kInputOutput, error.what());
  }
}

} // namespace

ExitStatus runCommand(const Arguments& arguments) {
  const ExitStatus status = runGuarded(arguments);
  if (!std::cout.flush()) {
    throw Failure(ExitStatus::kInputOutput, "standard output cannot be written: make room or choose another target");
  }
  return status;
}

void printFailure(const Arguments& arguments, const Failure& failure) {
  if (arguments.json) {
    printJson({{"error", failure.what()}, {"exit_status", static_cast<int>(failure.status())}});
    std::cout.flush();
  }
}

void printLine(const std::string& text) {
  std::string line = "vorin-stylize: " + text;
  std::replace_if(
      line.begin(), line.end(), [](char letter) { return letter == '\n' || letter == '\r'; }, ' ');
  std::cerr << line + "\n";
}

} // namespace vorin::stylize
