// Runs a fuzzer's entry point over mutated packages, the same ones for the same seed: mutation_driver [RUNS [SEED]]. For the
// tests, and for compilers without libFuzzer.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

class Mutator {
public:
  explicit Mutator(std::uint32_t seed) : random_(seed) {}

  std::string nextInput() {
    std::string package = soundPackage();
    for (std::uint32_t count = below(6); count > 0; --count) {
      mutate(package);
    }
    return static_cast<char>(below(256)) + package;
  }

private:
  std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

  static void appendNumber(std::string& bytes, std::uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
      bytes += static_cast<char>(value >> shift & 0xFFU);
    }
  }

  std::string name() {
    constexpr const char* kNames[] = {"net.xml", "net.bin", "net", "Net.xml", "net.xml2"};
    return below(8) == 0 ? std::string(1015 + below(16), 'n') : kNames[below(std::size(kNames))];
  }

  // One to four entries that overlap at random, over some data; some sizes reach a little too far, into the excluded case.
  std::string soundPackage() {
    std::string package;
    const std::uint32_t data_bytes = below(10000);
    for (std::uint32_t count = 1 + below(4); count > 0; --count) {
      package += name() + '\0';
      appendNumber(package, below(data_bytes + 1));
      appendNumber(package, below(200));
    }
    package += '\0';
    appendNumber(package, below(3));
    appendNumber(package, 0);
    for (std::uint32_t index = 0; index < data_bytes; ++index) {
      package += static_cast<char>(below(256));
    }
    return package;
  }

  void mutate(std::string& package) {
    if (package.empty()) {
      return;
    }
    // Mostly near the beginning, where the directory is.
    const std::size_t position = below(below(4) == 0 ? package.size() : std::min<std::size_t>(package.size(), 64));
    constexpr std::uint32_t kNumbers[] = {0, 1, 0x3FFFFFFF, 0x40000000, 0x40000001, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    std::string number;
    switch (below(6)) {
    case 0:
      package[position] = static_cast<char>(below(256));
      break;
    case 1:
      package.resize(position);
      break;
    case 2:
      package.erase(position, 1 + below(9));
      break;
    case 3:
      package.insert(position, 1 + below(9), below(2) == 0 ? '\0' : 'n');
      break;
    case 4:
      package[position] = '\0';
      break;
    default:
      appendNumber(number, kNumbers[below(std::size(kNumbers))]);
      package.replace(position, std::min(number.size(), package.size() - position), number);
      break;
    }
  }

  std::mt19937 random_;
};

} // namespace

int main(int count, char** arguments) {
  const unsigned long runs = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 2000;
  const unsigned long seed = count > 2 ? std::strtoul(arguments[2], nullptr, 10) : 20;
  Mutator mutator(static_cast<std::uint32_t>(seed));
  for (unsigned long run = 0; run < runs; ++run) {
    const std::string input = mutator.nextInput();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
  }
  return std::printf("%lu packages\n", runs) < 0 ? 1 : 0;
}
