#include "gpufilters/displacement_tables.h"

#include <algorithm>
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

// The byte of a state that each call of rand() uses starts at bit 16. Seeds this far apart therefore give states whose lower bits
// agree, and bytes that differ by the low byte of the factor, whatever the seed: the bytes of one period give all others by
// addition.
constexpr std::size_t kPeriod = 1U << 16;

// Entries filled in one step. The compiler vectorises a loop of known length by itself.
constexpr std::size_t kBlock = 64;

std::vector<std::uint8_t> bytesOfFirstPeriod(AffineState state) {
  std::vector<std::uint8_t> bytes(kPeriod);
  std::uint32_t value = state.offset;
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(value >> 16);
    value += state.factor;
  }
  return bytes;
}

using Block = std::array<std::uint8_t, kBlock>;

// Divides in base 2 and keeps only the remainders: a byte that is too small for a subtraction wraps round to a larger one, so the
// minimum subtracts only where it fits. A divisor above 255 changes no byte.
void takeRemainders(Block& block, int divisor) {
  int step = divisor;
  while (2 * step <= 0xFF) {
    step *= 2;
  }
  for (; step >= divisor && step <= 0xFF; step /= 2) {
    for (std::uint8_t& byte : block) {
      byte = std::min(byte, static_cast<std::uint8_t>(byte - step));
    }
  }
}

std::vector<std::uint8_t> buildTable(std::size_t entries, AffineState state, int divisor) {
  const std::size_t blocks = (entries + kBlock - 1) / kBlock;
  std::vector<std::uint8_t> table(blocks * kBlock);
  const std::vector<std::uint8_t> bytes = bytesOfFirstPeriod(state);
  for (std::size_t first = 0; first < table.size(); first += kBlock) {
    const auto shift = static_cast<std::uint8_t>(first / kPeriod * state.factor);
    Block block;
    std::copy_n(&bytes[first % kPeriod], kBlock, block.begin());
    for (std::uint8_t& byte : block) {
      byte = static_cast<std::uint8_t>(byte + shift);
    }
    takeRemainders(block, divisor);
    std::copy(block.begin(), block.end(), &table[first]);
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
