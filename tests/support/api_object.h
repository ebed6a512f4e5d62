// What the tests of the shared library share: an object through the public header.
#pragma once

#include "support/test_environment.h"
#include "vorin_stt.h"

#include <gtest/gtest.h>

#include <memory>

namespace vorin::tests {

struct Destroyer {
  void operator()(SttInterface* object) const { SttFactory::Destroy(object); }
};
using Object = std::unique_ptr<SttInterface, Destroyer>;

inline Object makeObject() {
  SttInterface* object = nullptr;
  EXPECT_EQ(SttFactory::Create(&object), VORIN_STATUS_OK);
  return Object(object);
}

inline void configure(SttInterface& object, std::int32_t style, std::int32_t width, std::int32_t height) {
  object.SetConfig(nullptr, SttCfgStyleType, &style);
  object.SetConfig(nullptr, SttCfgWidth, &width);
  object.SetConfig(nullptr, SttCfgHeight, &height);
}

} // namespace vorin::tests
