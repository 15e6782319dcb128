// The checks in front of the plans. That regions are moved right is seen from Python, on arrays of any strides.
#include "core/Support.h"
#include "zarnik/layout/RegionConverter.h"
#include "zarnik/layout/RegionCopier.h"

#include <gmock/gmock.h>

namespace zarnik {

namespace {

using test::messageOf;

TEST(RegionCopier, RefusesWhatDoesNotFitAndNamesIt) {
  DataType const type(DataTypeId::UINT16);
  auto const message = [&](VectorXu64 const & sourceOrigin, VectorXu64 const & destinationOrigin,
                           VectorXu64 const & size, DataType moved) {
    return messageOf([&] {
      RegionCopier(Indexer({4, 3}, type), Indexer({5, 3}, type), sourceOrigin, destinationOrigin, size, moved);
    });
  };
  EXPECT_EQ(message({3, 0}, {0, 0}, {2, 1}, type),
            "region origin (3, 0) + size (2, 1) exceeds the source shape (4, 3) on axis 0");
  EXPECT_EQ(message({0, 0}, {0, 2}, {1, 2}, type),
            "region origin (0, 2) + size (1, 2) exceeds the destination shape (5, 3) on axis 1");
  EXPECT_THAT(message({0, ~uint64_t{0}}, {0, 0}, {1, 2}, type), testing::HasSubstr("on axis 1"));
  EXPECT_THAT(message({0}, {0, 0}, {1, 2}, type), testing::HasSubstr("origin (0)"));
  EXPECT_THAT(message({0, 0}, {0, 0}, {1, 2, 1}, type), testing::HasSubstr("size (1, 2, 1)"));
  EXPECT_EQ(message({0, 0}, {0, 0}, {1, 1}, DataType(DataTypeId::FLOAT)),
            "source elements have 2 bytes, the type to be copied has 4");
  EXPECT_EQ(message({4, 3}, {5, 3}, {0, 0}, type), "accepted");
}

TEST(RegionConverter, RefusesWhatHasNoConversionAndNamesIt) {
  auto const message = [](DataType from, DataType to, VectorXu64 const & size) {
    return messageOf([&] { RegionConverter(Indexer({3, 2}, from), Indexer({3, 2}, to), {0, 0}, {0, 0}, size); });
  };
  EXPECT_EQ(message(DataTypeId::VEC3_UINT8, DataTypeId::FLOAT, {1, 1}),
            "elements of 3 components cannot be converted to elements of 1");
  EXPECT_THAT(message(DataTypeId::UTF8_STRING, DataTypeId::UINT8, {1, 1}), testing::HasSubstr("cannot be converted"));
  EXPECT_THAT(message(DataTypeId::INT8, DataTypeId::UINT8, {1, 3}), testing::HasSubstr("exceeds the source shape"));
  EXPECT_EQ(message(DataTypeId::COMPLEX_DOUBLE, DataTypeId::VEC2_UINT64, {3, 2}), "accepted");
  for (auto const & other : {DataType(), DataType(PrimitiveTypeId::UNSIGNED_INTEGER, 12, 1),
                             DataType(PrimitiveTypeId::FLOATING_POINT, 16, 1)})
    EXPECT_THROW(scalarTypeOf(other), InvalidArgument);
}

} // namespace

} // namespace zarnik
