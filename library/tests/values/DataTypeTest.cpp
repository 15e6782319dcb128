#include "zarnik/values/DataType.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/Vector.h"

#include <gmock/gmock.h>
#include <limits>

namespace zarnik {
namespace {

struct Case {
  DataTypeId id;
  char const * name;
  PrimitiveTypeId primitive;
  size_t bitDepth;
  size_t elementCount;
  DataTypeInterpretation interpretation;
};

Case const CASES[] = {
    {DataTypeId::UINT8, "UINT8", PrimitiveTypeId::UNSIGNED_INTEGER, 8, 1, DataTypeInterpretation::RAW},
    {DataTypeId::INT64, "INT64", PrimitiveTypeId::SIGNED_INTEGER, 64, 1, DataTypeInterpretation::RAW},
    {DataTypeId::DOUBLE, "DOUBLE", PrimitiveTypeId::FLOATING_POINT, 64, 1, DataTypeInterpretation::RAW},
    {DataTypeId::UTF16_STRING, "UTF16_STRING", PrimitiveTypeId::UNICODE_STRING, 16, 1, DataTypeInterpretation::RAW},
    {DataTypeId::VEC3_UINT16, "VEC3_UINT16", PrimitiveTypeId::UNSIGNED_INTEGER, 16, 3, DataTypeInterpretation::RAW},
    {DataTypeId::VEC2_FLOAT, "VEC2_FLOAT", PrimitiveTypeId::FLOATING_POINT, 32, 2, DataTypeInterpretation::RAW},
    {DataTypeId::COMPLEX_FLOAT, "COMPLEX_FLOAT", PrimitiveTypeId::FLOATING_POINT, 32, 2,
     DataTypeInterpretation::COMPLEX},
    {DataTypeId::MATRIX4_DOUBLE, "MATRIX4_DOUBLE", PrimitiveTypeId::FLOATING_POINT, 64, 16,
     DataTypeInterpretation::SQUARE_MATRIX},
    {DataTypeId::SYM_MATRIX3_FLOAT, "SYM_MATRIX3_FLOAT", PrimitiveTypeId::FLOATING_POINT, 32, 6,
     DataTypeInterpretation::SYMMETRIC_MATRIX},
};

TEST(DataType, IdPacksTheProperties) {
  for (auto const & [id, name, primitive, bitDepth, elementCount, interpretation] : CASES) {
    DataType const type(primitive, bitDepth, elementCount, interpretation);
    EXPECT_EQ(type, DataType(id)) << name;
    EXPECT_EQ(type.toString(), name);
    EXPECT_EQ(type.primitiveType(), primitive);
    EXPECT_EQ(type.interpretation(), interpretation);
    EXPECT_EQ(type.bitDepth(), bitDepth);
    EXPECT_EQ(type.elementCount(), elementCount);
    EXPECT_EQ(type.byteCount(), bitDepth * elementCount / 8);
    EXPECT_EQ(type.isScalar(), elementCount == 1);
    EXPECT_EQ(type.isVector(), elementCount != 1 && interpretation == DataTypeInterpretation::RAW);
    EXPECT_EQ(DataType::extractScalarType(type), DataType(primitive, bitDepth, 1));
  }
}

TEST(DataType, OddTypesKeepTheirRules) {
  EXPECT_EQ(DataType().id(), 0u);
  EXPECT_EQ(DataType().byteCount(), 1u);
  EXPECT_EQ(DataType().toString(), "UNKNOWN");
  DataType const twelve(PrimitiveTypeId::UNSIGNED_INTEGER, 12, 1);
  EXPECT_EQ(twelve.byteCount(), 2u);
  EXPECT_EQ(twelve.toString(), "(UNSIGNED_INTEGER, 12 bits, 1 elements, RAW)");
  EXPECT_EQ(DataType::extractScalarType(DataType()), DataType());
}

TEST(DataType, PropertiesThatDoNotFitAreRefused) {
  EXPECT_THROW(DataType(PrimitiveTypeId::UNKNOWN, 256, 1), InvalidArgument);
  EXPECT_THROW(DataType(PrimitiveTypeId::UNKNOWN, 8, 256), InvalidArgument);
  EXPECT_THROW(DataType(static_cast<PrimitiveTypeId>(-1), 8, 1), InvalidArgument);
  EXPECT_THROW(DataType(PrimitiveTypeId::UNKNOWN, 8, 1, static_cast<DataTypeInterpretation>(-1)), InvalidArgument);
}

TEST(DataType, StandardRangeIsThatOfTheComponent) {
  using Limits = std::numeric_limits<int16_t>;
  EXPECT_EQ(DataType::standardRange(DataTypeId::VEC2_INT16), (Vector2d{Limits::min(), Limits::max()}));
  EXPECT_EQ(DataType::standardRange(DataTypeId::UINT8), (Vector2d{0, 255}));
  EXPECT_EQ(DataType::standardRange(DataTypeId::UINT64), (Vector2d{0, 18446744073709551615.}));
  EXPECT_EQ(DataType::standardRange(DataTypeId::MATRIX3_FLOAT), (Vector2d{0, 1}));
  EXPECT_THAT([] { DataType::standardRange(DataTypeId::UTF8_STRING); },
              testing::ThrowsMessage<InvalidArgument>(testing::HasSubstr("UTF8_STRING has no range")));
  EXPECT_THROW(DataType::standardRange(DataType()), InvalidArgument);
}

TEST(DataType, NumericTypesOfOneShapeAreConvertible) {
  EXPECT_TRUE(DataType(DataTypeId::UINT8).isConvertibleTo(DataTypeId::DOUBLE));
  EXPECT_TRUE(DataType(DataTypeId::VEC3_INT16).isConvertibleTo(DataTypeId::VEC3_FLOAT));
  EXPECT_TRUE(DataType().isConvertibleTo(DataType()));
  EXPECT_FALSE(DataType(DataTypeId::VEC2_FLOAT).isConvertibleTo(DataTypeId::COMPLEX_FLOAT));
  EXPECT_FALSE(DataType(DataTypeId::UTF8_STRING).isConvertibleTo(DataTypeId::UINT8));
}

} // namespace
} // namespace zarnik
