#include "zarnik/values/Vector.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/VectorX.h"

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

namespace zarnik {
namespace {

__extension__ typedef unsigned __int128 Wide;

// What the element type has room for: arithmetic in 128 bits, of which the lowest are kept.
template <typename T, typename Operation> T expected(T a, T b, Operation operation) {
  if constexpr (std::is_floating_point_v<T>)
    return operation(a, b);
  else
    return static_cast<T>(operation(static_cast<Wide>(a), static_cast<Wide>(b)));
}

auto const ADD = [](auto a, auto b) { return a + b; };
auto const SUBTRACT = [](auto a, auto b) { return a - b; };
auto const MULTIPLY = [](auto a, auto b) { return a * b; };

template <typename V> V make(std::vector<typename V::ValueType> const & values) {
  V result;
  if constexpr (std::is_same_v<V, VectorX<typename V::ValueType>>)
    result = V(values.size());
  for (size_t i = 0; i != std::min(result.size(), values.size()); ++i)
    result[i] = values[i];
  return result;
}

template <typename V> class VectorTest : public testing::Test {
protected:
  using T = typename V::ValueType;
  static constexpr auto LOWEST = std::numeric_limits<T>::lowest();
  static constexpr auto HIGHEST = std::numeric_limits<T>::max();
  static constexpr auto MINUS_ONE = static_cast<T>(-1);
  std::vector<V> const samples{make<V>({0, 0, 0}),
                               make<V>({1, 2, 3}),
                               make<V>({7, MINUS_ONE, 100}),
                               make<V>({LOWEST, 1, 90}),
                               make<V>({HIGHEST, HIGHEST, 2}),
                               make<V>({5, 0, 4})};

  // Checks left op right and its in-place form against the element's own arithmetic.
  template <typename Operation, typename InPlace> void check(Operation operation, InPlace inPlace) {
    for (auto const & left : samples)
      for (auto const & right : samples) {
        auto const result = operation(left, right);
        auto changed = left;
        inPlace(changed, right);
        EXPECT_EQ(changed, result);
        ASSERT_EQ(result.size(), left.size());
        for (size_t i = 0; i != left.size(); ++i) {
          auto const value = expected(left[i], right[i], operation);
          EXPECT_TRUE(result[i] == value || std::isnan(double(value))) << left.toString() << " " << right.toString();
        }
      }
  }
};

#define ZARNIK_FAMILY(T) Vector<T, 2>, Vector<T, 3>, Vector<T, 4>, VectorX<T>
using AllVectors =
    testing::Types<ZARNIK_FAMILY(uint8_t), ZARNIK_FAMILY(int8_t), ZARNIK_FAMILY(uint16_t), ZARNIK_FAMILY(int16_t),
                   ZARNIK_FAMILY(uint32_t), ZARNIK_FAMILY(int32_t), ZARNIK_FAMILY(uint64_t), ZARNIK_FAMILY(int64_t),
                   ZARNIK_FAMILY(float), ZARNIK_FAMILY(double)>;
TYPED_TEST_SUITE(VectorTest, AllVectors);

TYPED_TEST(VectorTest, ArithmeticWrapsAround) {
  using Element = typename TypeParam::ValueType;
  this->check(ADD, [](auto & a, auto const & b) { a += b; });
  this->check(SUBTRACT, [](auto & a, auto const & b) { a -= b; });
  this->check(MULTIPLY, [](auto & a, auto const & b) { a *= b; });
  for (auto const & v : this->samples) {
    for (size_t i = 0; i != v.size(); ++i) {
      EXPECT_EQ((-v)[i], expected(Element{0}, v[i], SUBTRACT));
      EXPECT_EQ((v * v[1])[i], expected(v[i], v[1], MULTIPLY));
    }
    EXPECT_EQ(v[1] * v, v * v[1]);
    Element sum = 0;
    for (auto const component : v)
      sum = expected(sum, expected(component, component, MULTIPLY), ADD);
    EXPECT_EQ(v.dot(v), sum);
  }
}

TYPED_TEST(VectorTest, DivisionIsTowardZeroOrRefused) {
  using Element = typename TypeParam::ValueType;
  for (auto const & left : this->samples)
    for (auto const & right : this->samples) {
      bool isRefused = false;
      for (size_t i = 0; i != left.size(); ++i)
        isRefused |=
            std::is_integral_v<Element> &&
            (right[i] == 0 || (std::is_signed_v<Element> && right[i] == this->MINUS_ONE && left[i] == this->LOWEST));
      auto changed = left;
      if (isRefused) {
        EXPECT_THROW(changed /= right, InvalidArgument);
        EXPECT_EQ(changed, left) << "a refused division must change nothing";
        continue;
      }
      changed /= right;
      for (size_t i = 0; i != left.size(); ++i) {
        auto const value = static_cast<Element>(left[i] / right[i]);
        EXPECT_TRUE(changed[i] == value || std::isnan(double(value))) << left.toString() << " " << right.toString();
      }
    }
  auto const v = this->samples[1];
  EXPECT_EQ((v / Element{2})[1], 1);
  if constexpr (std::is_integral_v<Element>)
    EXPECT_THROW(v / Element{0}, InvalidArgument);
  else
    EXPECT_TRUE(std::isinf((v / Element{0})[1]));
}

TYPED_TEST(VectorTest, ComparesLikeTuples) {
  for (auto const & left : this->samples)
    for (auto const & right : this->samples) {
      auto const isLess = std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end());
      auto const areEqual = std::equal(left.begin(), left.end(), right.begin());
      EXPECT_EQ(left < right, isLess);
      EXPECT_EQ(left <= right, isLess || areEqual);
      EXPECT_EQ(left > right, !isLess && !areEqual);
      EXPECT_EQ(left >= right, !isLess);
      EXPECT_EQ(left == right, areEqual);
      EXPECT_EQ(left != right, !areEqual);
    }
}

TYPED_TEST(VectorTest, AccessIsChecked) {
  auto v = this->samples[1];
  v.setAt(1, 9);
  EXPECT_EQ(v.at(1), 9);
  auto const message = testing::HasSubstr("component index 9 is out of range");
  EXPECT_THAT([&] { v.at(9); }, testing::ThrowsMessage<InvalidArgument>(message));
  EXPECT_THAT([&] { v.setAt(9, 1); }, testing::ThrowsMessage<InvalidArgument>(message));
}

TYPED_TEST(VectorTest, LengthIsEuclidean) {
  auto v = make<TypeParam>({4, 3, 0});
  EXPECT_EQ(v.length(), 5);
  EXPECT_EQ(v.squaredLength(), 25);
  v.normalize();
  using Element = typename TypeParam::ValueType;
  EXPECT_EQ(v[0], std::is_integral_v<Element> ? Element(1) : Element(4 / 5.));
  auto null = this->samples[0];
  EXPECT_THROW(null.normalize(), InvalidArgument);
}

TEST(Vector, LengthOfExtremesNeitherOverflowsNorVanishes) {
  EXPECT_DOUBLE_EQ((Vector2d{3e200, 4e200}.length()), 5e200);
  EXPECT_DOUBLE_EQ((Vector2d{3e-200, 4e-200}.length()), 5e-200);
  EXPECT_TRUE(std::isinf(Vector2d{INFINITY, 1}.length()));
  EXPECT_TRUE(std::isnan(Vector2d{INFINITY, NAN}.length()));
}

TEST(Vector, CrossIsPerpendicularAndOnlyForThree) {
  Vector3d const a{1, -2, 3};
  Vector3d const b{4, 5, -6};
  auto const c = a.cross(b);
  EXPECT_EQ(c.dot(a), 0);
  EXPECT_EQ(c.dot(b), 0);
  EXPECT_EQ((Vector3i8{1, 0, 0}.cross({0, 1, 0})), (Vector3i8{0, 0, 1}));
  EXPECT_EQ((VectorXi32{1, 0, 0}.cross({0, 1, 0})), (VectorXi32{0, 0, 1}));
  EXPECT_THROW(Vector2d().cross({}), InvalidArgument);
  EXPECT_THROW(VectorXd(4).cross(VectorXd(4)), InvalidArgument);
}

TEST(Vector, TextIsShortestRoundTrip) {
  EXPECT_EQ((Vector3u8{1, 2, 255}.toString()), "(1, 2, 255)");
  EXPECT_EQ((Vector3i8{-1, 65, 0}.toString()), "(-1, 65, 0)");
  EXPECT_EQ((Vector2f{0.1f, 1e30f}.toString()), "(0.1, 1e+30)");
  EXPECT_EQ((Vector2d{0.1, 1 / 3.}.toString()), "(0.1, 0.3333333333333333)");
  EXPECT_EQ(VectorXd().toString(), "()");
}

TEST(Vector, ComesFromRunTimeVectorOfItsSize) {
  EXPECT_EQ((Vector3u16(VectorXu16{1, 2, 3})), (Vector3u16{1, 2, 3}));
  EXPECT_THROW(Vector3u16(VectorXu16(2)), InvalidArgument);
  EXPECT_THROW((Vector3u16{1, 2}), InvalidArgument);
}

// Six components are stored inside, seven outside: copies and moves between all sizes around the border.
TEST(VectorX, CopiesAndMovesAcrossTheStorageBorder) {
  for (size_t from = 0; from != 10; ++from)
    for (size_t to = 0; to != 10; ++to) {
      auto const source = VectorXu64::createUniform(from, 7);
      VectorXu64 copied(to);
      copied = source;
      EXPECT_EQ(copied, source);
      VectorXu64 moved(to);
      moved = std::move(copied);
      EXPECT_EQ(moved, source);
      EXPECT_EQ(copied.size(), 0u); // NOLINT(bugprone-use-after-move): the state left is part of the contract
      auto & self = moved;
      moved = self;
      EXPECT_EQ(VectorXu64(std::move(moved)), source);
    }
}

TEST(VectorX, SizesMustAgree) {
  VectorXi32 const two{1, 2};
  VectorXi32 three{1, 2, 3};
  EXPECT_NE(two, three);
  EXPECT_THROW(three += two, InvalidArgument);
  EXPECT_THROW(three / two, InvalidArgument);
  EXPECT_THROW((void)three.dot(two), InvalidArgument);
  EXPECT_THROW((void)(three < two), InvalidArgument);
  EXPECT_EQ(three, (VectorXi32{1, 2, 3}));
  EXPECT_EQ(VectorXi32() + VectorXi32(), VectorXi32());
  EXPECT_THROW(VectorXi32().normalize(), InvalidArgument);
}

TEST(VectorX, ImpossibleSizesAreErrorsThatNameTheBytes) {
  EXPECT_THAT([] { VectorXu64(size_t{1} << 57); },
              testing::ThrowsMessage<Error>(testing::HasSubstr("cannot allocate 1152921504606846976 bytes")));
  EXPECT_THROW(VectorXd::createUniform(~size_t{0}, 1), InvalidArgument);
}

} // namespace
} // namespace zarnik
