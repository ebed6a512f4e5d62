// A program with the library inside, which the tests lay into folders of their choice and run two at once.
//
//   library_host                  Prints the folder that the library writes to, and on standard error what it logs on the way.
//   library_host FOLDER ROUNDS    Prepares the cartoon style of the package in FOLDER, or with an empty FOLDER of the package
//   where
//                                 the library looks by itself, each time with a new object, and restyles one grey pixel. Prints a
//                                 line a round: the status and, if that is 0, the pixel's first byte.
#include "core/log.h"
#include "core/writable_folder.h"
#include "support/system.h"
#include "vorin_stt.h"

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

int prepareOnce(const char* package_folder) {
  SttInterface* object = nullptr;
  if (SttFactory::Create(&object) != VORIN_STATUS_OK) {
    return 1;
  }
  const std::int32_t type = SttStyleCartoon;
  const std::int32_t size = 1;
  object->SetConfig(nullptr, SttCfgStyleType, &type);
  object->SetConfig(nullptr, SttCfgWidth, &size);
  object->SetConfig(nullptr, SttCfgHeight, &size);
  if (*package_folder != '\0') {
    object->SetConfig(nullptr, SttCfgModelPath, package_folder);
  }
  const _VorinStatus status = object->Prepare(nullptr);
  std::printf("%d", status);
  if (status == VORIN_STATUS_OK) {
    std::uint8_t pixel[] = {90, 90, 90};
    std::uint8_t result[] = {1, 1, 1};
    SttFrame frame = {
        .memoryType = VORIN_MEM_SYSTEM, .data = pixel, .pixelFormat = VORIN_FMT_BGR24, .width = 1, .height = 1, .pitch = 3};
    SttFrame output = frame;
    output.data = result;
    object->ProcessFrame(nullptr, &frame, nullptr, &output);
    std::printf(" %d", result[0]);
  }
  std::puts("");
  return SttFactory::Destroy(object);
}

} // namespace

int main(int argument_count, char** arguments) try {
  if (argument_count != 3) {
    return printWritableFolder();
  }
  for (long round = std::strtol(arguments[2], nullptr, 10); round > 0; --round) {
    if (prepareOnce(arguments[1]) != 0) {
      return 1;
    }
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
