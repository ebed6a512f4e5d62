// The program vorin-pack: packs networks into the library's model package, and lists, checks and extracts the entries of one.

#include "cancellation.h"
#include "commands.h"
#include "terminal.h"
#include "vorin_error.hpp"

#include <exception>
#include <new>

int main(int count, char** arguments) {
  using namespace vorin;
  using base::ExitStatus;
  base::prepareStandardStreams();
  base::handleCancellation("vorin-pack");
  ExitStatus status = ExitStatus::kSomeInputsFailed;
  try {
    const base::CommandLine line(count, arguments);
    status = pack::runCommand(pack::parseArguments(line.count(), line.arguments()));
  } catch (const base::Cancelled&) {
    status = ExitStatus::kCancelled;
    pack::printLine("cancelled");
  } catch (const Error& error) { // only usage errors have an exit status of their own
    status = error.kind() == ErrorKind::kUsage ? ExitStatus::kUsage : ExitStatus::kSomeInputsFailed;
    pack::printLine(error.what());
  } catch (const std::bad_alloc&) {
    pack::printLine("not enough memory: close other programs, or pack a smaller network");
  } catch (const std::exception& error) {
    pack::printLine(std::string(error.what()) + ": this should not happen, please report it");
  }
  return static_cast<int>(status);
}
