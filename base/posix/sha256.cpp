#include "../sha256.h"

#include <array>
#include <openssl/evp.h>

namespace vorin::base {
namespace {

void require(int result) {
  if (result != 1) {
    throw Error(ErrorKind::kInputOutput, "no SHA-256 sum: libcrypto fails; reinstall OpenSSL's library");
  }
}

} // namespace

struct Sha256::State {
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(), EVP_MD_CTX_free};
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
  require(EVP_DigestInit_ex(state_->context.get(), EVP_sha256(), nullptr));
}

Sha256::~Sha256() = default;

void Sha256::add(std::span<const std::uint8_t> bytes) {
  require(EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()));
}

std::string Sha256::hexadecimal() {
  std::array<std::uint8_t, 32> sum{};
  require(EVP_DigestFinal_ex(state_->context.get(), sum.data(), nullptr));
  return hexadecimalText(sum);
}

} // namespace vorin::base
