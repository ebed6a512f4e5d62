// Which file of a package serves a style, and on which device.
#include "neural/style_catalogue.h"

#include <gtest/gtest.h>

#include <limits>

namespace vorin::neural {
namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

std::string networkOf(std::int32_t style_type, std::int32_t style_index) {
  const std::optional<std::size_t> row = findCatalogueRow(style_type, style_index);
  return std::string(row ? kCatalogue.at(*row).network_name : "(none)");
}

TEST(StyleCatalogue, OnlyIndexesZeroAndTwoOfStyleTransferHaveNetworksOfTheirOwn) {
  EXPECT_EQ(kCatalogue.size(), 5U); // an engine is kept for each
  EXPECT_EQ(networkOf(0, 0), "ensemble_out_r31_512_retrained_autoencoder_int8.xml");
  EXPECT_EQ(networkOf(0, 2), "ensemble_out_r31_c540p_s512_retrained_autoencoder.xml");
  for (const std::int32_t index : {1, -1, 3, 7, 4, kLowest, kHighest}) {
    EXPECT_EQ(networkOf(0, index), "ensemble_out_r31_256_retrained_autoencoder_int8.xml") << index;
  }
  for (const std::int32_t index : {-1, 0, 1, 2, kLowest, kHighest}) {
    EXPECT_EQ(networkOf(1, index), "model_lightgrey_v19_int8.xml") << index;
    EXPECT_EQ(networkOf(2, index), "cartoon_model_slim5.xml") << index;
    EXPECT_EQ(networkOf(-1, index) + networkOf(3, index) + networkOf(kHighest, index), "(none)(none)(none)") << index;
  }
}

TEST(StyleCatalogue, TakesOneQuantisedMarkOutForDevicesThatDoNotReportInt8) {
  const struct {
    const char* name;
    const char* capabilities;
    const char* adapted;
  } cases[] = {
      {"model_lightgrey_v19_int8.xml", " FP32 FP16", "model_lightgrey_v19.xml"},
      {"model_lightgrey_v19_int8.xml", "", "model_lightgrey_v19.xml"},
      {"model_lightgrey_v19_int8.xml", " FP32 int8", "model_lightgrey_v19.xml"}, // the case of letters counts
      {"model_lightgrey_v19_int8.xml", " FP32 INT8 BIN", "model_lightgrey_v19_int8.xml"},
      {"model_lightgrey_v19_int8.xml", " UINT8X", "model_lightgrey_v19_int8.xml"}, // anywhere in the text
      {"cartoon_model_slim5.xml", " FP32", "cartoon_model_slim5.xml"},
      {"a_int8_int8.xml", " FP32", "a_int8.xml"},
      {"_int8", " FP32", ""},
  };
  for (const auto& [name, capabilities, adapted] : cases) {
    EXPECT_EQ(adaptNameToDevice(name, capabilities), adapted) << name << " for" << capabilities;
  }
}

} // namespace
} // namespace vorin::neural
