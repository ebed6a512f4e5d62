// A program with the library inside, which the tests lay into folders of their choice and run two at once.
//
//   library_host                  Prints the folder that the library writes to, and on standard error what it logs on the way.
//   library_host FOLDER ROUNDS    Prepares the cartoon style of the package in FOLDER, or with an empty FOLDER of the package
//                                 where the library looks by itself, each time with a new object, and restyles one grey pixel.
//                                 Prints a line a round: the status and, if that is 0, the pixel's first byte.
#include "core/log.h"
#include "core/writable_folder.h"
#include "support/api_object.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>

namespace {

int printWritableFolder() {
  vorin::tests::DebuggerOutput log;
  vorin::openLog();
  const std::string folder = vorin::getWritableFolder();
  return std::fputs(log.take().c_str(), stderr) < 0 || std::puts(folder.c_str()) < 0 ? 1 : 0;
}

void prepareOnce(const char* package_folder) {
  const vorin::tests::Object object = vorin::tests::makeObject();
  vorin::tests::configure(*object, SttStyleCartoon, 1, 1);
  if (*package_folder != '\0') {
    object->SetConfig(nullptr, SttCfgModelPath, package_folder);
  }
  const _VorinStatus status = object->Prepare(nullptr);
  std::printf("%d", status);
  if (status == VORIN_STATUS_OK) {
    std::uint8_t pixel[] = {90, 90, 90};
    std::uint8_t result[] = {1, 1, 1};
    const SttFrame frame = {VORIN_MEM_SYSTEM, pixel, VORIN_FMT_BGR24, 1, 1, 3};
    SttFrame output = {VORIN_MEM_SYSTEM, result, VORIN_FMT_BGR24, 1, 1, 3};
    object->ProcessFrame(nullptr, &frame, nullptr, &output);
    std::printf(" %d", result[0]);
  }
  std::puts("");
}

} // namespace

int main(int argument_count, char** arguments) try {
  if (argument_count != 3) {
    return printWritableFolder();
  }
  for (long round = std::strtol(arguments[2], nullptr, 10); round > 0; --round) {
    prepareOnce(arguments[1]);
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
