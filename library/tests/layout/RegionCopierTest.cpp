#include "zarnik/layout/RegionCopier.h"

#include "zarnik/core/Error.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zarnik {

namespace {

Indexer dense(VectorXu64 const & shape) { return Indexer(shape, DataType(DataTypeId::UINT16), MemoryLayout::FORTRAN); }

std::string messageOf(auto const & action) {
  try {
    action();
  } catch (InvalidArgument const & error) {
    return error.what();
  }
  return "accepted";
}

TEST(RegionCopier, MovesARegionBetweenOrigins) {
  std::vector<uint16_t> const source{0, 1, 2, 3, 10, 11, 12, 13, 20, 21, 22, 23}; // 4 columns, 3 rows
  std::vector<uint16_t> destination(15, 99);                                      // 5 columns, 3 rows
  RegionCopier(dense({4, 3}), dense({5, 3}), {1, 1}, {2, 0}, {2, 2}, DataType(DataTypeId::UINT16))
      .copy(source.data(), destination.data());
  EXPECT_THAT(destination, testing::ElementsAre(99, 99, 11, 12, 99, 99, 99, 21, 22, 99, 99, 99, 99, 99, 99));
}

TEST(RegionCopier, FollowsNegativeAndTransposedStrides) {
  std::vector<uint16_t> const source{0, 1, 2, 10, 11, 12}; // 3 columns, 2 rows
  // The same picture upside down: the origin is the last row and the row stride is negative.
  Indexer const upsideDown({3, 2}, DataType(DataTypeId::UINT16), VectorXu64{2, uint64_t{0} - 6}, VectorXu64{0, 1});
  Indexer const rowsFastest({3, 2}, DataType(DataTypeId::UINT16), MemoryLayout::C);
  std::vector<uint16_t> destination(6);
  RegionCopier const copier(upsideDown, rowsFastest, {0, 0}, {0, 0}, {3, 2}, DataType(DataTypeId::UINT16));
  copier.copy(source.data() + 3, destination.data());
  EXPECT_THAT(destination, testing::ElementsAre(10, 0, 11, 1, 12, 2));
  RegionCopier(upsideDown, dense({2, 1}), {1, 1}, {0, 0}, {2, 1}, DataType(DataTypeId::UINT16))
      .copy(source.data() + 3, destination.data());
  EXPECT_THAT(destination, testing::ElementsAre(1, 2, 11, 1, 12, 2));
}

TEST(RegionCopier, RefusesWhatDoesNotFitAndNamesIt) {
  DataType const type(DataTypeId::UINT16);
  auto const message = [&](VectorXu64 const & sourceOrigin, VectorXu64 const & destinationOrigin,
                           VectorXu64 const & size, DataType moved) {
    return messageOf([&] { RegionCopier(dense({4, 3}), dense({5, 3}), sourceOrigin, destinationOrigin, size, moved); });
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

} // namespace

} // namespace zarnik
