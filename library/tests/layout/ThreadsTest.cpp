#include "core/Support.h"
#include "layout/CopyPlan.h"
#include "layout/StridedCases.h"

#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

namespace zarnik {

namespace {

using namespace test;
using Strides = std::vector<uint64_t>;

struct Threads : WithThreads {};

struct Case {
  Strides size, source, destination;
  size_t elementBytes = 1;
  uint64_t start = 0;
};
Case const TRANSPOSED{{2048, 2048}, {2048, 1}, {1, 2048}};

std::vector<std::byte> copied(Case const & c, std::vector<std::byte> const & from) {
  std::vector<std::byte> to(from.size(), std::byte{0x5a});
  copyStrided(c.size, c.source, c.destination, c.elementBytes, from.data() + c.start, to.data());
  return to;
}

TEST_F(Threads, ResultsAreTheSameForAnyNumber) {
  auto const from = noise(9 << 20, 3);
  Case const cases[] = {
      {{9 << 20}, {1}, {1}},                                           // one run
      {{2000, 1500}, {3, 6001}, {3, 6000}, 3},                         // rows
      {{2001, 1999}, {3998, 2}, {2, 4002}, 2},                         // transpose
      {{3, 3000000}, {1, 3}, {3000000, 1}},                            // channels apart
      {{3, 3000000}, {3000000, 1}, {1, 3}},                            // and together
      {{9 << 20}, {uint64_t{0} - 1}, {1}, 1, (uint64_t{9} << 20) - 1}, // one row turned around
      {{3, 2, 125, 1000}, {4, 24, 48, 6000}, {4, 12, 24, 3000}, 4}     // few rounds outside
  };
  for (auto const & c : cases) {
    setThreadCount(1);
    auto const expected = copied(c, from);
    for (size_t const threads : {2, 3, 7}) {
      setThreadCount(threads);
      EXPECT_TRUE(copied(c, from) == expected) << threads << " threads";
    }
  }
}

TEST_F(Threads, ManyCallersAtOnce) {
  setThreadCount(4);
  auto const from = noise(4 << 20, 5);
  std::vector<std::vector<std::byte>> results(4);
  onThreads(results.size(), [&](size_t number) {
    for (int round = 0; round < 5; ++round)
      results[number] = copied(TRANSPOSED, from);
  });
  EXPECT_EQ(from[5 * 2048 + 7], results[0][7 * 2048 + 5]);
  for (auto const & result : results)
    EXPECT_TRUE(result == results[0]);
}

TEST_F(Threads, AForkedProcessCopiesAndEnds) {
  setThreadCount(3);
  auto const from = noise(4 << 20, 5);
  auto const expected = copied(TRANSPOSED, from);
  pid_t const child = fork();
  ASSERT_NE(child, -1);
  if (child == 0)
    _exit(copied(TRANSPOSED, from) == expected ? 0 : 1);
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST_F(Threads, NoMoreThanAllowed) {
  setThreadCount(100000);
  EXPECT_EQ(threadCount(), 256u);
}

} // namespace

} // namespace zarnik
