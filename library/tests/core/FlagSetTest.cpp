#include "zarnik/access/RandomAccessCapability.h"
#include "zarnik/access/StreamAccessCapability.h"
#include "zarnik/frames/DataFrameCapability.h"
#include "zarnik/views/ImageCapability.h"
#include "zarnik/views/MultiImageCapability.h"
#include "zarnik/views/ParallelAccessCapability.h"

#include <gtest/gtest.h>

namespace zarnik {
namespace {

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
