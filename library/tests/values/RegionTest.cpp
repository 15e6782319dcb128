#include "zarnik/values/Region.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/RegionX.h"

#include <gmock/gmock.h>
#include <limits>
#include <set>
#include <utility>

namespace zarnik {
namespace {

template <typename R> R region(std::initializer_list<uint64_t> origin, std::initializer_list<uint64_t> size) {
  return R(typename R::VectorType(origin), typename R::SizeType(size));
}

// The points of a small two-dimensional region, one by one.
template <typename R> std::set<std::pair<uint64_t, uint64_t>> points(R const & r) {
  std::set<std::pair<uint64_t, uint64_t>> result;
  for (uint64_t y = 0; y != r.size()[1]; ++y)
    for (uint64_t x = 0; x != r.size()[0]; ++x)
      result.emplace(r.origin()[0] + x, r.origin()[1] + y);
  return result;
}

template <typename R> class RegionTest : public testing::Test {};
using BothFamilies = testing::Types<Region2u64, RegionXu64>;
TYPED_TEST_SUITE(RegionTest, BothFamilies);

TYPED_TEST(RegionTest, AgreesWithSetsOfPoints) {
  std::vector<TypeParam> regions;
  for (uint64_t origin : {0, 1, 3})
    for (uint64_t width : {0, 1, 2, 4})
      for (uint64_t height : {0, 2, 3})
        regions.push_back(region<TypeParam>({origin, 2}, {width, height}));
  for (auto const & left : regions)
    for (auto const & right : regions) {
      auto const first = points(left);
      auto const second = points(right);
      auto common = first;
      std::erase_if(common, [&](auto const & point) { return !second.contains(point); });
      auto const text = left.toString() + " " + right.toString();
      EXPECT_EQ(left.intersect(right), !common.empty()) << text;
      EXPECT_EQ(points(left.intersection(right)), common) << text;
      if (!right.isEmpty()) {
        EXPECT_EQ(left.contains(right), common == second) << text;
      }
      EXPECT_EQ(left.elementCount(), first.size());
      EXPECT_EQ(left.isEmpty(), first.empty());
      EXPECT_EQ(left.contains(right.origin()), first.contains({right.origin()[0], right.origin()[1]})) << text;
    }
}

TYPED_TEST(RegionTest, MaxIsTheLastPointContained) {
  EXPECT_EQ(region<TypeParam>({2, 3}, {4, 1}).max(), (typename TypeParam::VectorType{5, 3}));
  EXPECT_EQ(region<TypeParam>({2, 3}, {4, 0}).max(), (typename TypeParam::VectorType{2, 3}));
}

TYPED_TEST(RegionTest, EmptyRegionsAreIdenticalAtOneOrigin) {
  EXPECT_EQ(region<TypeParam>({1, 2}, {0, 5}), region<TypeParam>({1, 2}, {3, 0}));
  EXPECT_FALSE(region<TypeParam>({1, 2}, {0, 5}) == region<TypeParam>({1, 3}, {0, 5}));
  EXPECT_FALSE(region<TypeParam>({1, 2}, {1, 5}) == region<TypeParam>({1, 2}, {0, 5}));
}

TYPED_TEST(RegionTest, EndsAtTheLargestCoordinate) {
  constexpr auto LARGEST = std::numeric_limits<uint64_t>::max();
  auto const last = region<TypeParam>({LARGEST, 0}, {1, LARGEST});
  EXPECT_EQ(last.max(), (typename TypeParam::VectorType{LARGEST, LARGEST - 1}));
  EXPECT_TRUE(last.contains(last));
  EXPECT_EQ(last.intersection(last), last);
  EXPECT_THROW(region<TypeParam>({0, 0}, {LARGEST, LARGEST}).elementCount(), InvalidArgument);
  EXPECT_THAT(
      [] {
        region<TypeParam>({0, LARGEST}, {1, 2});
      },
      testing::ThrowsMessage<InvalidArgument>(testing::HasSubstr("+ size 2 on axis 1 exceeds")));
}

TYPED_TEST(RegionTest, SliceIsCountedFromTheOrigin) {
  auto const box = region<TypeParam>({2, 3}, {5, 6});
  EXPECT_EQ(box.extractSliceFromAxis(0, 3), region<TypeParam>({5, 3}, {1, 6}));
  EXPECT_EQ(box.extractSliceFromAxis(1, 5), region<TypeParam>({2, 8}, {5, 1}));
  EXPECT_THROW(box.extractSliceFromAxis(1, 6), InvalidArgument);
  EXPECT_THROW(box.extractSliceFromAxis(2, 0), InvalidArgument);
  EXPECT_EQ(box.toString(), "(origin (2, 3), size (5, 6))");
}

TEST(RegionX, DimensionsMustAgree) {
  EXPECT_THROW((void)RegionXu64(2).contains(RegionXu64(3)), InvalidArgument);
  EXPECT_THROW((void)RegionXu64(2).contains(VectorXu64(3)), InvalidArgument);
  EXPECT_THROW((void)RegionXu64(2).intersect(RegionXu64(3)), InvalidArgument);
  EXPECT_THROW((void)RegionXu64(2).intersection(RegionXu64(3)), InvalidArgument);
  EXPECT_THROW(RegionXu64(VectorXu64(2), VectorXu64(3)), InvalidArgument);
  EXPECT_THROW(Region2u64(RegionXu64(3)), InvalidArgument);
  EXPECT_NE(RegionXu64(2), RegionXu64(3));
}

TEST(RegionX, Factories) {
  EXPECT_EQ(RegionXu64::createFullRegion({5, 6, 7}).elementCount(), 210u);
  EXPECT_EQ(RegionXu64::fromIndex({5, 6}), region<RegionXu64>({5, 6}, {1, 1}));
  EXPECT_EQ(Region2u64(RegionXu64::fromIndex({5, 6})).max(), (Vector2u64{5, 6}));
}

} // namespace
} // namespace zarnik
