#include "core/Logging.h"
#include "zarnik/core/Error.h"
#include "zarnik/core/UidGenerator.h"

#include <gtest/gtest.h>
#include <regex>
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

TEST(Log, WritesOneLineForWhatItsLevelIncludes) {
  testing::internal::CaptureStderr();
  logger().info("not at the default level");
  logger().warn("request {} was repeated", 7);
  logger().error("lost");
  EXPECT_TRUE(
      std::regex_match(testing::internal::GetCapturedStderr(),
                       std::regex(R"((\[\d\d:\d\d:\d\d\.\d{3}\]) \[zarnik\] \[warning\] request 7 was repeated\n)"
                                  R"((\[\d\d:\d\d:\d\d\.\d{3}\]) \[zarnik\] \[error\] lost\n)")));
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
