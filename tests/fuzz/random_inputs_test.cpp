// Each fuzzer's function with its seeds, and for a moment with what chance makes of them.
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>
#include <vector>

// Every fuzzer, under a name of its own.
#define X(name) extern "C" int fuzz_##name(const std::uint8_t* data, std::size_t size);
MARROW_FUZZERS
#undef X

namespace marrow {

namespace {

constexpr auto kMoment = std::chrono::milliseconds(500);
constexpr int kMostInputs = 20'000;
constexpr std::size_t kLongest = 8192;

struct Fuzzer {
  const char* name;
  int (*run)(const std::uint8_t*, std::size_t);
};

// For whoever lists the tests.
void PrintTo(const Fuzzer& fuzzer, std::ostream* stream) { *stream << fuzzer.name; }

const std::vector<Fuzzer> kFuzzers{
#define X(name) {#name, fuzz_##name},
    MARROW_FUZZERS
#undef X
};

std::vector<std::string> seedsOf(const std::string& name) {
  std::vector<std::string> seeds;
  const std::string folder = std::string(MARROW_FUZZ_FOLDER) + "/seeds/" + name;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return seeds;
}

// Always the same inputs for the same seeds, as long as there is time for them.
class Chance {
 public:
  explicit Chance(std::vector<std::string> seeds) : _seeds(std::move(seeds)) {}

  std::string input() {
    std::string text = _seeds[below(_seeds.size())];
    for (std::size_t changes = 1 + below(6); changes > 0; --changes) {
      change(text);
    }
    text.resize(std::min(text.size(), kLongest));
    return text;
  }

 private:
  std::size_t below(std::size_t limit) { return limit == 0 ? 0 : _numbers() % limit; }

  void change(std::string& text) {
    const std::size_t place = below(text.size() + 1);
    const std::size_t length = below(text.size() - place + 1);
    switch (below(6)) {
      case 0:
        return text.resize(place);
      case 1:
        text.erase(place, length);
        return;
      case 2:
        text.insert(place, text.substr(below(text.size() + 1), length));
        return;
      case 3: {
        const std::string& other = _seeds[below(_seeds.size())];
        text.insert(place, other.substr(below(other.size() + 1)));
        return;
      }
      case 4:
        text.insert(place, 1 + below(300), static_cast<char>(_numbers()));
        return;
      default:
        if (place < text.size()) {
          text[place] = static_cast<char>(_numbers());
        }
    }
  }

  const std::vector<std::string> _seeds;
  std::mt19937_64 _numbers{1};
};

void feed(const Fuzzer& fuzzer, const std::string& input) {
  fuzzer.run(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

class FuzzedFunction : public testing::TestWithParam<Fuzzer> {};

INSTANTIATE_TEST_SUITE_P(All, FuzzedFunction, testing::ValuesIn(kFuzzers),
                         [](const auto& test) { return std::string(test.param.name); });

// What does not hold ends the process.
TEST_P(FuzzedFunction, HoldsWithItsSeedsAndWithWhatChanceMakesOfThem) {
  const std::vector<std::string> seeds = seedsOf(GetParam().name);
  ASSERT_FALSE(seeds.empty());
  feed(GetParam(), "");
  for (const std::string& seed : seeds) {
    feed(GetParam(), seed);
  }
  Chance chance(seeds);
  const auto end = std::chrono::steady_clock::now() + kMoment;
  for (int count = 0; count < kMostInputs && std::chrono::steady_clock::now() < end; ++count) {
    feed(GetParam(), chance.input());
  }
}

}  // namespace

}  // namespace marrow
