#include "../sha256.h"

#include <array>
// The second needs the first.
// clang-format off
#include <windows.h>
#include <bcrypt.h>
// clang-format on

namespace vorin::base {
namespace {

void require(NTSTATUS status) {
  if (status < 0) {
    throw Error(ErrorKind::kInputOutput, "no SHA-256 sum: the system's BCrypt fails; restart the system");
  }
}

} // namespace

struct Sha256::State {
  State() = default;
  ~State() {
    if (hash != nullptr) {
      BCryptDestroyHash(hash);
    }
    if (algorithm != nullptr) {
      BCryptCloseAlgorithmProvider(algorithm, 0);
    }
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
  require(BCryptOpenAlgorithmProvider(&state_->algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
  require(BCryptCreateHash(state_->algorithm, &state_->hash, nullptr, 0, nullptr, 0, 0));
}

Sha256::~Sha256() = default;

void Sha256::add(std::span<const std::uint8_t> bytes) {
  auto* const data = const_cast<std::uint8_t*>(bytes.data()); // only read
  require(BCryptHashData(state_->hash, data, static_cast<ULONG>(bytes.size()), 0));
}

std::string Sha256::hexadecimal() {
  std::array<std::uint8_t, 32> sum{};
  require(BCryptFinishHash(state_->hash, sum.data(), static_cast<ULONG>(sum.size()), 0));
  return hexadecimalText(sum);
}

} // namespace vorin::base
