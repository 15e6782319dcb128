#include "core/Logging.h"
#include "core/Support.h"
#include "zarnik/access/RandomAccessCapability.h"
#include "zarnik/access/StreamAccessCapability.h"
#include "zarnik/core/UidGenerator.h"
#include "zarnik/frames/DataFrameCapability.h"
#include "zarnik/views/ImageCapability.h"
#include "zarnik/views/MultiImageCapability.h"
#include "zarnik/views/ParallelAccessCapability.h"

#include <gtest/gtest.h>
#include <regex>
#include <unordered_set>

namespace zarnik {
namespace {

TEST(UidGenerator, GivesDistinctDefinedValuesFromManyThreads) {
  constexpr int perThread = 2000;
  std::vector<std::vector<uint64_t>> drawn(4);
  test::onThreads(drawn.size(), [&](size_t number) {
    for (int i = 0; i < perThread; ++i)
      drawn[number].push_back(UidGenerator::generate());
  });
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

template <typename Flag> class FlagSetOf : public testing::Test {};
using Flags = testing::Types<ImageCapability, MultiImageCapability, DataFrameCapability, StreamAccessCapability,
                             RandomAccessCapability, ParallelAccessCapability>;
TYPED_TEST_SUITE(FlagSetOf, Flags);

// The sets themselves are tested through Python; operators on flags are of C++ alone.
TYPED_TEST(FlagSetOf, FlagsCombineLikeTheirMasks) {
  auto const left = static_cast<TypeParam>(3), right = static_cast<TypeParam>(6);
  EXPECT_EQ((left | right).value(), 7u);
  EXPECT_EQ((left & right).value(), 2u);
  EXPECT_EQ((left ^ right).value(), 5u);
  auto set = left | right;
  EXPECT_EQ((((set ^= left) |= left) &= right).value(), 6u);
}

} // namespace
} // namespace zarnik
