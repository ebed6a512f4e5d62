// usage: prepare_style FOLDER ROUNDS
// Prepares the cartoon style of the package in FOLDER, or with an empty FOLDER of the package where the library looks by itself,
// each time with a new object, and restyles one grey pixel with it. Prints a line a round: the status of the preparation and, if
// that is 0, the pixel's first byte. A program of its own so that the tests can run two at once, in a folder of their choice.
#include "vorin_stt.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>

namespace {

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
    return 2;
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
