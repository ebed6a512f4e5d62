// The program vorin-pack: networks into the library's packed model file, and what is in such a file.

#include "arguments.h"
#include "cancellation.h"
#include "command_line.h"
#include "commands.h"
#include "output_path.h"
#include "standard_streams.h"

#include <exception>
#include <new>

int main(int count, char** arguments) {
  using namespace vorin::pack;
  vorin::base::prepareStandardStreams();
  handleCancellation();
  ExitStatus status = ExitStatus::kFailed;
  try {
    const vorin::base::CommandLine line(count, arguments);
    status = runCommand(parseArguments(line.count(), line.arguments()));
  } catch (const Failure& failure) {
    status = failure.status();
    printLine(failure.what());
  } catch (const vorin::base::OutputError& error) {
    printLine(error.what());
  } catch (const std::bad_alloc&) {
    printLine("not enough memory: close other programs, or pack a smaller network");
  } catch (const std::exception& error) {
    printLine(std::string(error.what()) + ": this should not happen, please report it");
  }
  return static_cast<int>(status);
}
