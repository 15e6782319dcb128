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

std::vector<std::byte> copied(Strides const & size, Strides const & source, Strides const & destination,
                              size_t elementBytes, std::vector<std::byte> const & from, uint64_t start) {
  std::vector<std::byte> to(from.size(), std::byte{0x5a});
  copyStrided(size, source, destination, elementBytes, from.data() + start, to.data());
  return to;
}

TEST_F(Threads, ResultsAreTheSameForAnyNumber) {
  auto const from = noise(9 << 20, 3);
  struct Case {
    Strides size, source, destination;
    size_t elementBytes;
    uint64_t start;
  };
  Case const cases[] = {
      {{9 << 20}, {1}, {1}, 1, 0},                                     // one run
      {{2000, 1500}, {3, 6001}, {3, 6000}, 3, 0},                      // rows
      {{2001, 1999}, {3998, 2}, {2, 4002}, 2, 0},                      // transpose
      {{3, 3000000}, {1, 3}, {3000000, 1}, 1, 0},                      // channels apart
      {{3, 3000000}, {3000000, 1}, {1, 3}, 1, 0},                      // and together
      {{9 << 20}, {uint64_t{0} - 1}, {1}, 1, (uint64_t{9} << 20) - 1}, // one row turned around
      {{3, 2, 125, 1000}, {4, 24, 48, 6000}, {4, 12, 24, 3000}, 4, 0}  // few rounds outside
  };
  for (auto const & c : cases) {
    setThreadCount(1);
    auto const expected = copied(c.size, c.source, c.destination, c.elementBytes, from, c.start);
    for (size_t const threads : {2, 3, 7}) {
      setThreadCount(threads);
      EXPECT_TRUE(copied(c.size, c.source, c.destination, c.elementBytes, from, c.start) == expected)
          << threads << " threads";
    }
  }
}

TEST_F(Threads, ManyCallersAtOnce) {
  setThreadCount(4);
  auto const from = noise(4 << 20, 5);
  std::vector<std::vector<std::byte>> results(4);
  onThreads(results.size(), [&](size_t number) {
    for (int round = 0; round < 5; ++round)
      results[number] = copied({2048, 2048}, {2048, 1}, {1, 2048}, 1, from, 0);
  });
  EXPECT_EQ(from[5 * 2048 + 7], results[0][7 * 2048 + 5]);
  for (auto const & result : results)
    EXPECT_TRUE(result == results[0]);
}

TEST_F(Threads, AForkedProcessCopiesAndEnds) {
  setThreadCount(3);
  auto const from = noise(4 << 20, 5);
  auto const expected = copied({2048, 2048}, {2048, 1}, {1, 2048}, 1, from, 0);
  pid_t const child = fork();
  ASSERT_NE(child, -1);
  if (child == 0)
    _exit(copied({2048, 2048}, {2048, 1}, {1, 2048}, 1, from, 0) == expected ? 0 : 1);
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
