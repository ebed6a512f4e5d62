#include "gpufilters/displacement_tables.h"

#include <array>

namespace vorin::gpufilters {

namespace {

constexpr std::uint32_t kMultiplier = 214013;
constexpr std::uint32_t kIncrement = 2531011;

// The state after a number of calls as an affine function of the seed, modulo 2^32.
struct AffineState {
  std::uint32_t factor;
  std::uint32_t offset;

  constexpr AffineState next() const { return {factor * kMultiplier, offset * kMultiplier + kIncrement}; }
};

constexpr AffineState kAfterOneCall = AffineState{1, 0}.next();
constexpr AffineState kAfterTwoCalls = kAfterOneCall.next();

// Entries filled in one step. A loop of known length over a block is what the compiler turns into vector code without options.
constexpr std::size_t kBlock = 64;

using StateSteps = std::array<std::uint32_t, kBlock>;

constexpr StateSteps stepsWithinBlock(std::uint32_t factor) {
  StateSteps steps{};
  for (std::uint32_t i = 0; i < kBlock; ++i) {
    steps[i] = i * factor;
  }
  return steps;
}

// Remainders of bytes by multiplication: for a byte and the reciprocal rounded up, the error of the quotient stays below the
// distance to the next whole number.
class ByteRemainder {
public:
  explicit ByteRemainder(int divisor)
      : divisor_(static_cast<std::uint16_t>(divisor)), reciprocal_(static_cast<std::uint16_t>((0xFFFF + divisor) / divisor)) {}

  std::uint8_t operator()(std::uint16_t byte) const {
    const auto quotient = static_cast<std::uint16_t>((static_cast<std::uint32_t>(byte) * reciprocal_) >> 16);
    return static_cast<std::uint8_t>(byte - quotient * divisor_);
  }

private:
  std::uint16_t divisor_;
  std::uint16_t reciprocal_;
};

void fillBlock(std::uint8_t* block, std::uint32_t first_state, const StateSteps& steps, ByteRemainder remainder) {
  for (std::size_t i = 0; i < kBlock; ++i) {
    const std::uint32_t state = first_state + steps[i];
    block[i] = remainder(static_cast<std::uint16_t>((state >> 16) & 0xFF));
  }
}

std::vector<std::uint8_t> buildTable(std::size_t entries, AffineState state, int divisor) {
  const std::size_t blocks = (entries + kBlock - 1) / kBlock;
  std::vector<std::uint8_t> table(blocks * kBlock);
  if (divisor > 1) { // everything is 0 modulo 1, as the table is already
    const StateSteps steps = stepsWithinBlock(state.factor);
    const ByteRemainder remainder(divisor);
    for (std::size_t block = 0; block < blocks; ++block) {
      const auto seed = static_cast<std::uint32_t>(block * kBlock); // 32 bits, as srand takes it
      fillBlock(&table[block * kBlock], seed * state.factor + state.offset, steps, remainder);
    }
  }
  table.resize(entries);
  return table;
}

} // namespace

DisplacementTables buildDisplacementTables(std::size_t entries, int filter_radius) {
  const int divisor = 2 * filter_radius + 1;
  return {buildTable(entries, kAfterOneCall, divisor), buildTable(entries, kAfterTwoCalls, divisor)};
}

} // namespace vorin::gpufilters
