#include "zarnik/access/RandomAccessCapability.h"
#include "zarnik/access/StreamAccessCapability.h"
#include "zarnik/views/DataFrameCapability.h"
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

TYPED_TEST(FlagSetOf, WorksLikeItsMask) {
  using Set = FlagSet<TypeParam>;
  for (uint64_t left = 0; left < 32; ++left)
    for (uint64_t right = 0; right < 32; ++right) {
      Set const a(left), b(right);
      auto const flag = static_cast<TypeParam>(left), other = static_cast<TypeParam>(right);
      EXPECT_EQ((a | b).value(), left | right);
      EXPECT_EQ((a & b).value(), left & right);
      EXPECT_EQ((a ^ b).value(), left ^ right);
      EXPECT_EQ((flag | other).value(), left | right);
      EXPECT_EQ((flag & other).value(), left & right);
      EXPECT_EQ((flag ^ other).value(), left ^ right);
      EXPECT_EQ(a == b, left == right);
      EXPECT_EQ(a != b, left != right);
      EXPECT_EQ(a.has(b), (left & right) == right);
      Set changed = flag;
      changed.add(b);
      changed.remove(Set(1));
      EXPECT_EQ(changed.value(), (left | right) & ~uint64_t{1});
      changed = a;
      EXPECT_EQ((((changed ^= b) |= a) &= b).value(), ((left ^ right) | left) & right);
    }
  EXPECT_EQ(Set().value(), 0u);
  EXPECT_EQ(Set(~uint64_t{0}).value(), ~uint64_t{0});
}

} // namespace
} // namespace zarnik
