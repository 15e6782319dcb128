#include "zarnik/values/ArrayX.h"
#include "zarnik/core/Error.h"

#include <gmock/gmock.h>
#include <utility>

namespace zarnik {
namespace {

// Layouts, reshaping and refusals are tested through Python, against NumPy.
TEST(ArrayX, MovedFromIsWithoutElements) {
  ArrayX<float> source({2, 2});
  source.setAt({1, 1}, 0.1f);
  auto const moved = std::move(source);
  EXPECT_EQ(moved.at({1, 1}), 0.1f);
  EXPECT_EQ(moved.data()[3], 0.1f);
  EXPECT_EQ(source.shape().size(), 0u); // NOLINT(bugprone-use-after-move): the state left is part of the contract
  EXPECT_THROW((void)source.at({}), InvalidArgument);
  EXPECT_EQ(ArrayX<float>(source), source);
  source = moved;
  EXPECT_EQ(source, moved);
}

TEST(ArrayX, TextOfAnySizeIsShort) {
  EXPECT_EQ(ArrayX<uint8_t>(VectorXu64{0, 2}).toString(), "(array of shape (0, 2))");
  EXPECT_EQ(ArrayX<uint8_t>(VectorXu64{}).toString(), "0");
  EXPECT_EQ(ArrayX<uint8_t>({2000}).toString(), "(0, 0, 0, ..., 0, 0, 0)");
  EXPECT_LT(ArrayX<uint8_t>({500, 500}).toString().size(), 300u);
  EXPECT_EQ(ArrayX<uint8_t>(VectorXu64::createUniform(100000, 1)).toString().size(), 200001u);
}

} // namespace
} // namespace zarnik
