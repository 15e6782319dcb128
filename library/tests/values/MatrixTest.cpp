#include "zarnik/values/Matrix.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/TransformMatrixFactory.h"

#include <cmath>
#include <gmock/gmock.h>
#include <numbers>
#include <random>
#include <type_traits>

namespace zarnik {
namespace {

constexpr auto QUARTER = std::numbers::pi / 2;

template <typename M> struct Parts;
template <typename Element, size_t COUNT> struct Parts<Matrix<Element, COUNT>> {
  using T = Element;
  static constexpr size_t N = COUNT;
};

template <typename M> class MatrixTest : public testing::Test {
protected:
  using T = typename Parts<M>::T;
  static constexpr size_t N = Parts<M>::N;
  static constexpr double TOLERANCE = std::is_same_v<T, float> ? 1e-4 : 1e-10;

  M random() {
    M result;
    for (size_t i = 0; i != N * N; ++i)
      result.data()[i] = std::uniform_real_distribution<T>(-2, 2)(generator_);
    return result;
  }

  static double distance(M const & left, M const & right) {
    double largest = 0;
    for (size_t i = 0; i != N * N; ++i)
      largest = std::fmax(largest, std::fabs(double{left.data()[i]} - double{right.data()[i]}));
    return largest;
  }

private:
  std::mt19937 generator_{12345};
};
using AllMatrices = testing::Types<Matrix3f, Matrix3d, Matrix4f, Matrix4d>;
TYPED_TEST_SUITE(MatrixTest, AllMatrices);

TYPED_TEST(MatrixTest, InverseUndoesTheProduct) {
  for (int round = 0; round != 50; ++round) {
    auto const a = this->random();
    auto const inverse = a.inverse();
    auto largest = this->distance(inverse, TypeParam());
    EXPECT_LT(this->distance(a * inverse, TypeParam::identity()), this->TOLERANCE * (1 + largest));
    auto const b = this->random();
    EXPECT_LT(this->distance((a * b).transpose(), b.transpose() * a.transpose()), this->TOLERANCE);
    EXPECT_EQ(a * TypeParam::identity(), a);
    EXPECT_LT(this->distance(a + b - b, a), this->TOLERANCE);
    EXPECT_EQ(-a, a * -1);
    EXPECT_EQ(a / 2, a * typename TestFixture::T(0.5));
  }
}

TYPED_TEST(MatrixTest, SingularMatricesDoNotCrash) {
  auto singular = TypeParam::uniform(1).inverse();
  bool isFinite = true;
  for (size_t i = 0; i != this->N * this->N; ++i)
    isFinite = isFinite && std::isfinite(singular.data()[i]);
  EXPECT_FALSE(isFinite);
  EXPECT_EQ(TypeParam() * TypeParam::identity(), TypeParam());
}

TYPED_TEST(MatrixTest, IsAddressedByColumnAndRow) {
  TypeParam m;
  m.setAt(2, 1, 7);
  EXPECT_EQ(m.at(2, 1), 7);
  EXPECT_EQ(m(2, 1), 7);
  EXPECT_EQ(m.transpose().at(1, 2), 7);
  EXPECT_EQ(m.data()[this->N + 2], 7);
  Vector<typename TestFixture::T, TestFixture::N> unit;
  unit[2] = 1;
  EXPECT_EQ((m * unit)[1], 7) << "matrices act on column vectors";
  EXPECT_THROW((void)m.at(this->N, 0), InvalidArgument);
  EXPECT_THROW((void)m(0, this->N), InvalidArgument);
  EXPECT_THROW(m.setAt(0, 9, 1), InvalidArgument);
}

TEST(Matrix, TextIsRowByRow) {
  auto m = Matrix3d::identity();
  m.setAt(2, 0, 0.1);
  EXPECT_EQ(m.toString(), "((1, 0, 0.1), (0, 1, 0), (0, 0, 1))");
}

testing::AssertionResult areNear(Vector4d const & left, Vector4d const & right) {
  if ((left - right).length() < 1e-12)
    return testing::AssertionSuccess();
  return testing::AssertionFailure() << left.toString() << " is not " << right.toString();
}

TEST(TransformMatrixFactory, TransformsOfThePlane) {
  auto const turned = TransformMatrix3Factory::rotation(QUARTER) * Vector3d{1, 0, 1};
  EXPECT_NEAR((turned - Vector3d{0, 1, 1}).length(), 0, 1e-12) << "counter-clockwise, Y up";
  EXPECT_EQ((TransformMatrix3Factory::translation({2, 3}) * Vector3d{1, 1, 1}), (Vector3d{3, 4, 1}));
  EXPECT_EQ((TransformMatrix3Factory::scaling({2, 3}) * Vector3d{1, 1, 1}), (Vector3d{2, 3, 1}));
}

TEST(TransformMatrixFactory, TransformsOfSpace) {
  EXPECT_EQ((TransformMatrix4Factory::translation({1, 2, 3}) * Vector4d{1, 1, 1, 1}), (Vector4d{2, 3, 4, 1}));
  EXPECT_EQ((TransformMatrix4Factory::scaling({1, 2, 3}) * Vector4d{1, 1, 1, 1}), (Vector4d{1, 2, 3, 1}));
  auto const third = 1 / std::sqrt(3.);
  auto const diagonal = TransformMatrix4Factory::rotationOnAxis(2 * std::numbers::pi / 3, {third, third, third});
  EXPECT_TRUE(areNear(diagonal * Vector4d{1, 2, 3, 1}, {3, 1, 2, 1})) << "X to Y to Z to X";
  EXPECT_THROW(TransformMatrix4Factory::rotationOnAxis(1, {0, 0, 2}), InvalidArgument);
  EXPECT_THROW(TransformMatrix4Factory::rotationOnAxis(1, {NAN, 0, 1}), InvalidArgument);
}

// Rotates a point by a rotation around one axis at a time, with the axes carried along for intrinsic conventions.
Vector4d rotated(Vector4d const & point, Vector3d const & angles, std::string const & convention) {
  bool const isIntrinsic = convention[0] < 'a';
  auto result = Matrix4d::identity();
  for (size_t i = 0; i != 3; ++i) {
    Vector4d axis;
    axis[static_cast<size_t>(std::tolower(convention[i]) - 'x')] = 1;
    if (isIntrinsic)
      axis = result * axis;
    result = TransformMatrix4Factory::rotationOnAxis(angles[i], {axis[0], axis[1], axis[2]}) * result;
  }
  return result * point;
}

TEST(TransformMatrixFactory, EulerConventions) {
  Vector3d const angles{0.3, -1.1, 2.2};
  Vector3d const reversed{2.2, -1.1, 0.3};
  Vector4d const point{1, 2, 3, 1};
  for (std::string const convention : {"xyz", "xzy", "yxz", "yzx", "zxy", "zyx", "zxz", "xyx", "yyz"}) {
    std::string intrinsic(convention.rbegin(), convention.rend());
    for (auto & axis : intrinsic)
      axis = static_cast<char>(std::toupper(axis));
    auto const extrinsic = TransformMatrix4Factory::rotationEuler(angles, convention) * point;
    EXPECT_TRUE(areNear(extrinsic, rotated(point, angles, convention))) << convention;
    EXPECT_TRUE(areNear(extrinsic, TransformMatrix4Factory::rotationEuler(reversed, intrinsic) * point)) << intrinsic;
    EXPECT_TRUE(areNear(extrinsic, rotated(point, reversed, intrinsic))) << intrinsic;
  }
  for (auto const * convention : {"ZyX", "zYx", "", "xy", "xyzx", "xyw", "XYW", "abc", "\xff\xff\xff"})
    EXPECT_THROW(TransformMatrix4Factory::rotationEuler(angles, convention), InvalidArgument) << convention;
}

} // namespace
} // namespace zarnik
