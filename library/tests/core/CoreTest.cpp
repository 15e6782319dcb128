#include "zarnik/core/Error.h"
#include "zarnik/core/Logger.h"
#include "zarnik/core/UidGenerator.h"
#include "zarnik/core/Versioning.h"

#include <gtest/gtest.h>
#include <thread>
#include <unordered_set>
#include <vector>

namespace zarnik {
namespace {

TEST(UidGenerator, GivesDistinctDefinedValuesFromManyThreads) {
  constexpr int perThread = 2000;
  std::vector<std::vector<uint64_t>> drawn(4);
  std::vector<std::thread> threads;
  for (auto & uids : drawn)
    threads.emplace_back([&uids] {
      for (int i = 0; i < perThread; ++i)
        uids.push_back(UidGenerator::generate());
    });
  for (auto & thread : threads)
    thread.join();

  std::unordered_set<uint64_t> all;
  for (auto const & uids : drawn)
    all.insert(uids.begin(), uids.end());
  EXPECT_EQ(all.size(), drawn.size() * perThread);
  EXPECT_FALSE(all.contains(UidGenerator::UNDEFINED_UID));
}

TEST(Versioning, ComparesMajorAndMinor) {
  auto const loaded = Versioning::version();
  EXPECT_TRUE(Versioning::checkCompatibility());
  EXPECT_TRUE(Versioning::checkCompatibility({loaded.major, loaded.minor - 1, 99}));
  EXPECT_FALSE(Versioning::checkCompatibility({loaded.major, loaded.minor + 1, 0}));
  EXPECT_FALSE(Versioning::checkCompatibility({loaded.major + 1, 0, 0}));
}

TEST(Logger, KeepsTheFirstLevelAndClampsStrangeOnes) {
  Logger::init(static_cast<LogLevel>(99));
  EXPECT_EQ(Logger::logLevel(), LogLevel::LOG_TRACE);
  Logger::init(LogLevel::LOG_OFF);
  EXPECT_EQ(Logger::logLevel(), LogLevel::LOG_TRACE);
}

TEST(Error, KeepsMessageAndKindThroughCopies) {
  try {
    throw InvalidArgument("size 0 is not allowed");
  } catch (Error const & caught) {
    Error const copy = caught;
    EXPECT_STREQ(copy.what(), "size 0 is not allowed");
    EXPECT_NE(dynamic_cast<InvalidArgument const *>(&caught), nullptr);
  }
}

} // namespace
} // namespace zarnik
