// The program vorin-stylize: photos to drawings, by way of the library's public header alone.

#include "arguments.h"
#include "cancellation.h"
#include "command_line.h"
#include "commands.h"
#include "software_device.h"
#include "standard_streams.h"

#include <new>
#include <string>

namespace {

using namespace vorin::stylize;

ExitStatus runProgram(int count, char** arguments) {
  const vorin::base::CommandLine line(count, arguments);
  const Arguments parsed = parseArguments(line.count(), line.arguments());
  const Precision& precision = parsed.precision != nullptr ? *parsed.precision : precisions().front();
  try {
    if (parsed.precision != nullptr) {
      requireNoOtherActive(precision);
    }
    std::string reason;
    try {
      return runCommand(parsed);
    } catch (const RestartOnSoftwareDevice& restart) {
      reason = restart.reason();
    }
    restartOnSoftwareDevice(precision, reason, arguments);
  } catch (const Failure& failure) {
    printFailure(parsed, failure);
    throw;
  }
}

} // namespace

int main(int count, char** arguments) {
  vorin::base::prepareStandardStreams();
  handleCancellation();
  ExitStatus status = ExitStatus::kInputOutput;
  try {
    status = runProgram(count, arguments);
  } catch (const Failure& failure) {
    status = failure.status();
    printLine(failure.what());
  } catch (const std::bad_alloc&) {
    printLine("not enough memory: use a smaller image");
  } catch (const std::exception& error) {
    printLine(std::string(error.what()) + ": this should not happen, please report it");
  }
  return static_cast<int>(status);
}
