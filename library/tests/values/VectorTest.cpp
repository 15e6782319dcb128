#include "zarnik/values/Vector.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/VectorX.h"

#include <cmath>
#include <gmock/gmock.h>
#include <utility>

namespace zarnik {
namespace {

TEST(Vector, LengthOfExtremesNeitherOverflowsNorVanishes) {
  EXPECT_DOUBLE_EQ((Vector2d{3e200, 4e200}.length()), 5e200);
  EXPECT_DOUBLE_EQ((Vector2d{3e-200, 4e-200}.length()), 5e-200);
  EXPECT_TRUE(std::isinf(Vector2d{INFINITY, 1}.length()));
  EXPECT_TRUE(std::isnan(Vector2d{INFINITY, NAN}.length()));
}

TEST(Vector, TextIsShortestRoundTrip) {
  EXPECT_EQ((Vector3i8{-1, 65, 0}.toString()), "(-1, 65, 0)");
  EXPECT_EQ((Vector2f{0.1f, 1e30f}.toString()), "(0.1, 1e+30)");
  EXPECT_EQ((Vector2d{0.1, 1 / 3.}.toString()), "(0.1, 0.3333333333333333)");
  EXPECT_EQ(VectorXd().toString(), "()");
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

TEST(VectorX, TextOfAnySizeIsShort) {
  EXPECT_EQ(VectorXu8::createUniform(1000000, 7).toString(), "(7, 7, 7, ..., 7, 7, 7)");
  EXPECT_EQ(VectorXu8::createUniform(1000, 7).toString().size(), 3000u);
}

} // namespace
} // namespace zarnik
