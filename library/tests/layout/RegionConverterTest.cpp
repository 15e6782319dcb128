#include "zarnik/layout/RegionConverter.h"

#include "zarnik/core/Error.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zarnik {

namespace {

TEST(RegionConverter, ConvertsARegionComponentByComponent) {
  std::vector<float> const source{-1, 0.5F, 1.5F, 300, 7, 8.6F, 1, 2, 3}; // 3 columns of 3 components
  std::vector<uint8_t> destination(12, 9);                                // 2 columns, 2 rows
  Indexer const from({3, 1}, DataType(DataTypeId::VEC3_FLOAT));
  Indexer const to({2, 2}, DataType(DataTypeId::VEC3_UINT8));
  RegionConverter(from, to, {0, 0}, {0, 1}, {2, 1}).convert(source.data(), destination.data());
  EXPECT_THAT(destination, testing::ElementsAre(9, 9, 9, 9, 9, 9, 0, 0, 2, 255, 7, 9));
  RegionConverter(from, to, {2, 0}, {1, 0}, {1, 1}, LinearMap{10, 1}).convert(source.data(), destination.data());
  EXPECT_THAT(destination, testing::ElementsAre(9, 9, 9, 11, 21, 31, 0, 0, 2, 255, 7, 9));
}

TEST(RegionConverter, RefusesWhatHasNoConversionAndNamesIt) {
  auto const message = [](DataType from, DataType to, VectorXu64 const & size) {
    try {
      RegionConverter(Indexer({3, 2}, from), Indexer({3, 2}, to), {0, 0}, {0, 0}, size);
    } catch (InvalidArgument const & error) {
      return std::string(error.what());
    }
    return std::string("accepted");
  };
  EXPECT_EQ(message(DataTypeId::VEC3_UINT8, DataTypeId::FLOAT, {1, 1}),
            "elements of 3 components cannot be converted to elements of 1");
  EXPECT_THAT(message(DataTypeId::UTF8_STRING, DataTypeId::UINT8, {1, 1}), testing::HasSubstr("cannot be converted"));
  EXPECT_EQ(message(DataTypeId::INT8, DataTypeId::UINT8, {1, 3}),
            "region origin (0, 0) + size (1, 3) exceeds the source shape (3, 2) on axis 1");
  EXPECT_EQ(message(DataTypeId::COMPLEX_DOUBLE, DataTypeId::VEC2_UINT64, {3, 2}), "accepted");
}

TEST(RegionConverter, KnowsTheTenScalarTypes) {
  DataTypeId const ids[] = {DataTypeId::UINT8,  DataTypeId::INT8,  DataTypeId::UINT16, DataTypeId::INT16,
                            DataTypeId::UINT32, DataTypeId::INT32, DataTypeId::UINT64, DataTypeId::INT64,
                            DataTypeId::FLOAT,  DataTypeId::DOUBLE};
  for (size_t n = 0; n < 10; ++n) {
    EXPECT_EQ(scalarTypeOf(ids[n]), static_cast<ScalarType>(n));
  }
  EXPECT_THROW(scalarTypeOf(DataType()), InvalidArgument);
  EXPECT_THROW(scalarTypeOf(DataType(PrimitiveTypeId::UNSIGNED_INTEGER, 12, 1)), InvalidArgument);
  EXPECT_THROW(scalarTypeOf(DataType(PrimitiveTypeId::FLOATING_POINT, 16, 1)), InvalidArgument);
}

} // namespace

} // namespace zarnik
