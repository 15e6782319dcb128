// The seeds of the fuzzer, and what is near them, without the fuzzer.
#include "core/Support.h"
#include "fuzz/Targets.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>

namespace zarnik::test {
namespace {

class Seeds : public testing::TestWithParam<FuzzTarget> {};

Bytes mutated(Bytes bytes, std::mt19937 & random) {
  for (auto left = 1 + random() % 4; left > 0 && !bytes.empty(); --left) {
    auto const place = bytes.begin() + static_cast<ptrdiff_t>(random() % bytes.size());
    switch (random() % 4) {
    case 0:
      bytes.erase(place);
      break;
    case 1:
      bytes.insert(place, static_cast<uint8_t>(random()));
      break;
    default:
      *place = random() % 2 == 0 ? static_cast<uint8_t>(random()) : static_cast<uint8_t>(*place ^ (1U << random() % 8));
    }
  }
  return bytes;
}

TEST_P(Seeds, AndWhatIsNearThemDoNoHarm) {
  std::mt19937 random(10);
  size_t count = 0;
  for (auto const & entry :
       std::filesystem::directory_iterator(std::string(ZARNIK_FUZZ_SEEDS) + "/" + GetParam().name)) {
    std::ifstream file(entry.path(), std::ios::binary);
    Bytes const seed(std::istreambuf_iterator<char>(file), {});
    SCOPED_TRACE(entry.path());
    EXPECT_NO_THROW(GetParam().run(seed));
    for (int round = 0; round < 300; ++round)
      EXPECT_NO_THROW(GetParam().run(mutated(seed, random))) << "round " << round;
    ++count;
  }
  EXPECT_GT(count, 0u);
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Seeds, testing::ValuesIn(fuzzTargets().begin(), fuzzTargets().end()), nameOf);

} // namespace
} // namespace zarnik::test
