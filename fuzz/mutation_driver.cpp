// Runs a fuzzer's entry point over the files of a corpus and over mutations of them, in the same order for the same seed, where
// there is no libFuzzer: mutation_driver CORPUS_FOLDER [SECONDS [SEED]]. An input that ends the process is left in the file
// fuzz-fault.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::string input;

extern "C" void keepInputAndEnd(int number) {
  std::ofstream("fuzz-fault", std::ios::binary) << input;
  static_cast<void>(std::signal(number, SIG_DFL));
  static_cast<void>(std::raise(number));
}

std::vector<std::string> readCorpus(const char* folder) {
  std::vector<std::string> corpus;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    corpus.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  std::sort(corpus.begin(), corpus.end());
  return corpus;
}

class Mutator {
public:
  Mutator(std::vector<std::string> corpus, std::uint32_t seed) : corpus_(std::move(corpus)), random_(seed) {}

  std::string nextInput() {
    std::string bytes = corpus_[below(corpus_.size())];
    for (std::uint32_t count = 1 + below(6); count > 0; --count) {
      mutate(bytes);
    }
    return bytes;
  }

private:
  std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(random_() % std::max<std::size_t>(limit, 1)); }

  // Numbers at the limits of readers, as four bytes or as digits.
  std::string number() {
    constexpr std::uint32_t kNumbers[] = {0,          1,          0x4000,     0x4001,     0x3FFFFFFF,
                                          0x40000000, 0x40000001, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    const std::uint32_t value = kNumbers[below(std::size(kNumbers))];
    return below(2) == 0 ? std::to_string(value) : std::string(reinterpret_cast<const char*>(&value), sizeof value);
  }

  void mutate(std::string& bytes) {
    // Mostly near the beginning, where directories and headers are.
    const std::size_t place = below(below(4) == 0 ? bytes.size() : std::min<std::size_t>(bytes.size(), 64));
    const std::string& other = corpus_[below(corpus_.size())];
    const std::size_t count = 1 + below(9);
    switch (below(7)) {
    case 0:
      bytes.replace(place, 1, 1, static_cast<char>(below(256)));
      break;
    case 1:
      bytes.resize(place);
      break;
    case 2:
      bytes.erase(place, count);
      break;
    case 3:
      bytes.insert(place, below(8) == 0 ? 1015 + below(16) : count, below(2) == 0 ? '\0' : 'n');
      break;
    case 4:
      bytes.replace(place, 4, number());
      break;
    case 5:
      bytes.insert(place, bytes.substr(below(bytes.size()), 4 * count));
      break;
    default:
      bytes.replace(place, count, other.substr(below(other.size()), 4 * count));
      break;
    }
  }

  std::vector<std::string> corpus_;
  std::mt19937 random_;
};

} // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> corpus = readCorpus(count > 1 ? arguments[1] : ".");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(count > 2 ? std::stoi(arguments[2]) : 3);
  Mutator mutator(corpus, count > 3 ? static_cast<std::uint32_t>(std::stoi(arguments[3])) : 20);
  for (const int number : {SIGSEGV, SIGABRT, SIGFPE}) {
    static_cast<void>(std::signal(number, keepInputAndEnd));
  }
  std::size_t runs = 0;
  for (; runs < corpus.size() || std::chrono::steady_clock::now() < end; ++runs) {
    input = runs < corpus.size() ? corpus[runs] : mutator.nextInput();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
  }
  return std::printf("robustness: %s: %zu cases, 0 faults\n", std::filesystem::path(arguments[0]).filename().string().c_str(),
                     runs) < 0;
}
