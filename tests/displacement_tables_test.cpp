// The displacement tables against the generator called as a program would call it: reseed, draw, draw. Both sides are integers,
// so every byte must agree.
#include "gpufilters/displacement_tables.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vorin {
namespace {

using gpufilters::buildDisplacementTables;
using gpufilters::DisplacementTables;

class RuntimeGenerator {
public:
  void seed(std::uint32_t value) { state_ = value; }
  int draw() {
    state_ = state_ * 214013u + 2531011u;
    return static_cast<int>((state_ >> 16) & 0x7FFFu);
  }

private:
  std::uint32_t state_ = 1;
};

DisplacementTables plainTables(std::size_t entries, int filter_radius) {
  DisplacementTables tables;
  RuntimeGenerator generator;
  const int divisor = 2 * filter_radius + 1;
  for (std::size_t k = 0; k < entries; ++k) {
    generator.seed(static_cast<std::uint32_t>(k));
    tables.x.push_back(static_cast<std::uint8_t>((generator.draw() & 255) % divisor));
    tables.y.push_back(static_cast<std::uint8_t>((generator.draw() & 255) % divisor));
  }
  return tables;
}

struct Size {
  std::size_t entries;
  int filter_radius;
};

class DisplacementTablesTest : public testing::TestWithParam<Size> {};

TEST_P(DisplacementTablesTest, EqualTheGeneratorsDraws) {
  const auto [entries, filter_radius] = GetParam();
  const DisplacementTables expected = plainTables(entries, filter_radius);
  const DisplacementTables built = buildDisplacementTables(entries, filter_radius);
  // Compared as a whole first: printing two million differences would hide the fault.
  ASSERT_EQ(built.x.size(), expected.x.size());
  ASSERT_EQ(built.y.size(), expected.y.size());
  const auto x = std::mismatch(built.x.begin(), built.x.end(), expected.x.begin());
  const auto y = std::mismatch(built.y.begin(), built.y.end(), expected.y.begin());
  EXPECT_TRUE(x.first == built.x.end()) << "x differs first at " << x.first - built.x.begin();
  EXPECT_TRUE(y.first == built.y.end()) << "y differs first at " << y.first - built.y.begin();
}

// Sizes around what a step of the filling may be, a padded full HD frame, one entry more; then every kind of divisor: 1, 3, the
// largest below a byte's range, the first above it, and beyond.
INSTANTIATE_TEST_SUITE_P(Sizes, DisplacementTablesTest,
                         testing::Values(Size{0, 4}, Size{1, 4}, Size{2, 4}, Size{63, 4}, Size{64, 4}, Size{65, 4}, Size{1001, 4},
                                         Size{1920 * 1088, 4}, Size{1920 * 1088 + 1, 4}, Size{70000, 0}, Size{70000, 1},
                                         Size{70000, 7}, Size{70000, 127}, Size{70000, 128}, Size{70000, 300}));

// Known from the runtime itself, so a fault shared by the builder and the loop above would show.
TEST(DisplacementTablesStart, IsTheRuntimes) {
  const DisplacementTables built = buildDisplacementTables(4, 4);
  EXPECT_EQ(built.x, (std::vector<std::uint8_t>{2, 5, 0, 3}));
  EXPECT_EQ(built.y, (std::vector<std::uint8_t>{3, 8, 5, 1}));
}

} // namespace
} // namespace vorin
