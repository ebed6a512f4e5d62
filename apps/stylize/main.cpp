// The program vorin-stylize: restyles images and clips with the media library.

#include "cancellation.h"
#include "effects/library_object.h"
#include "options.h"
#include "output_file.h"
#include "report.h"
#include "terminal.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <new>
#include <nlohmann/json.hpp>
#include <string_view>

namespace {

using namespace vorin;
using base::ExitStatus;
using stylize::Options;

ExitStatus run(const Options& options) {
  if (options.command != stylize::Command::kText) {
    media::giveKernelsAFolder();
  }
  switch (options.command) {
  case stylize::Command::kRestyle:
    return stylize::restyle(options);
  case stylize::Command::kSheet:
    return stylize::makeSheet(options);
  case stylize::Command::kDevices:
    return stylize::listDevices(options);
  case stylize::Command::kInfo:
    return stylize::printInfo(options);
  case stylize::Command::kSelftest:
    return stylize::testItself(options);
  case stylize::Command::kPlan:
    return stylize::planJob(options);
  case stylize::Command::kWork:
    return stylize::workOnJob(options);
  case stylize::Command::kStatus:
    return stylize::printJobState(options);
  case stylize::Command::kJoin:
    return stylize::joinJob(options);
  case stylize::Command::kText:
    break;
  }
  std::cout << options.text;
  return ExitStatus::kDone;
}

ExitStatus runAndFlush(const Options& options) {
  const ExitStatus status = run(options);
  if (!std::cout.flush()) {
    throw Error(ErrorKind::kInputOutput, "standard output cannot be written: make room or choose another target");
  }
  return status;
}

ExitStatus fail(bool json, const Error& error) {
  const ExitStatus status = base::exitStatusOf(error.kind());
  if (json) {
    stylize::printJson({{"error", error.what()}, {"exit_status", static_cast<int>(status)}});
    std::cout.flush();
  }
  stylize::printLine(error.what());
  return status;
}

// has_told: the command has printed its object.
ExitStatus cancelled(bool json, bool has_told) {
  stylize::printLine("cancelled");
  if (json && !has_told) {
    stylize::printJson({{"cancelled", true}, {"exit_status", static_cast<int>(ExitStatus::kCancelled)}});
  }
  return ExitStatus::kCancelled;
}

ExitStatus runProgram(int count, char** arguments) {
  const base::CommandLine line(count, arguments);
  Options options;
  options.json = std::any_of(line.arguments(), line.arguments() + line.count(), // for errors of the options themselves
                             [](const char* argument) { return std::string_view(argument) == "--json"; });
  try {
    options = stylize::parseOptions(line.count(), line.arguments());
    const ExitStatus status = runAndFlush(options);
    return status == ExitStatus::kCancelled ? cancelled(options.json, true) : status;
  } catch (const base::Cancelled&) {
    return cancelled(options.json, false);
  } catch (const media::NeedsOwnProcess& need) {
    if (base::cancellationIsDue()) {
      return cancelled(options.json, false);
    }
    return static_cast<ExitStatus>(
        media::runAsSoftwareDevice(options.restyler.precision.value_or(media::Precision::kF32), need.reason()));
  } catch (const Error& error) {
    // OpenCL's compiler removes its temporary files at a signal, and fails.
    const bool is_of_signal = error.kind() == ErrorKind::kDevice && base::cancellationIsDue();
    return is_of_signal ? cancelled(options.json, false) : fail(options.json, error);
  } catch (const std::bad_alloc&) {
    return fail(options.json, Error(ErrorKind::kInputOutput, "not enough memory: use a smaller image"));
  }
}

// Ends the process without destroying the library's objects, which takes longer than a small image: the system frees what they
// hold.
[[noreturn]] void endProcess(ExitStatus status) {
  std::cout.flush();
  static_cast<void>(std::fflush(nullptr));
  base::removeUnfinishedFiles();
  media::noteGoodEnd();
  base::restoreConsole();
  std::_Exit(static_cast<int>(status));
}

} // namespace

int main(int count, char** arguments) {
  base::prepareStandardStreams();
  base::handleCancellation("vorin-stylize");
  ExitStatus status = ExitStatus::kInputOutput;
  try {
    status = runProgram(count, arguments);
  } catch (const base::Cancelled&) {
    status = cancelled(false, false);
  } catch (const Error& error) { // of a restart
    status = fail(false, error);
  } catch (const std::bad_alloc&) {
    stylize::printLine("not enough memory: use a smaller image");
  } catch (const std::exception& error) {
    stylize::printLine(std::string(error.what()) + ": this should not happen, please report it");
  }
  endProcess(status);
}
