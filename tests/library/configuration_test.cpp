// The configuration store.
#include "core/configuration.h"

#include <gtest/gtest.h>

namespace vorin {
namespace {

TEST(Configuration, StartsWithItsDefaultsAndStoresAnyNumber) {
  Configuration configuration;
  const std::int32_t defaults[] = {-1, -1, 0, 0, 0};
  for (const bool is_set : {false, true}) {
    for (std::uint32_t key = 0; key < 5; ++key) {
      std::int32_t value = 77;
      EXPECT_EQ(configuration.get(key, &value), VORIN_STATUS_OK);
      EXPECT_EQ(value, !is_set ? defaults[key] : 1000 + static_cast<std::int32_t>(key)) << "key " << key;
      value = 1000 + static_cast<std::int32_t>(key);
      EXPECT_EQ(configuration.set(key, &value), VORIN_STATUS_OK);
    }
  }
}

TEST(Configuration, RefusesUnknownKeysAndKeepsTheModelFolderToItself) {
  Configuration configuration;
  char folder[] = "models here";
  EXPECT_EQ(configuration.set(SttCfgModelPath, folder), VORIN_STATUS_OK);
  folder[0] = 'X'; // the store has its own copy
  EXPECT_EQ(configuration.modelFolder(), "models here");
  std::int32_t value = 77;
  for (const std::uint32_t key : {6U, 100U, 0xFFFFFFFFU}) {
    EXPECT_EQ(configuration.set(key, &value), VORIN_STATUS_INVALID_PARAM) << key;
  }
  for (const std::uint32_t key : {5U, 6U, 0xFFFFFFFFU}) {
    EXPECT_EQ(configuration.get(key, &value), VORIN_STATUS_INVALID_PARAM) << key;
  }
  EXPECT_EQ(value, 77);
}

} // namespace
} // namespace vorin
