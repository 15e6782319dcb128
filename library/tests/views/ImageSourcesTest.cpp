#include "access/AccessSupport.h"
#include "access/TracingAccess.h"
#include "views/Samples.h"
#include "zarnik/views/ImageViewFactory.h"

#include <array>
#include <csignal>
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace zarnik::test {
namespace {

using Ranges = std::vector<TracingAccess::Range>;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
namespace fs = std::filesystem;

std::vector<fs::path> filesIn(fs::path const & folder) {
  return {fs::directory_iterator(folder), fs::directory_iterator()};
}

// ---- views over an accessor ----------------------------------------------------------------------------------------

struct Traced {
  Traced(VectorXu64 const & shape, DataType dataType, MemoryLayout layout = MemoryLayout::FORTRAN)
      : access(std::make_shared<TracingAccess>(ramp(Indexer(shape, dataType).byteCount()))),
        image(ImageViewFactory::fromRandomAccess(access, layout, shape, dataType)) {}

  Bytes read(RegionXu64 const & region) {
    access->forget();
    Bytes bytes(region.elementCount() * image->dataType().byteCount());
    image->readRegion(region, bytes.data());
    return bytes;
  }

  std::shared_ptr<TracingAccess> access;
  Image image;
};

TEST(ImageOverAccess, ReadsWhatItIsAskedForInFewRequests) {
  Traced traced({100, 64}, DataTypeId::UINT8);
  EXPECT_THAT(traced.access->reads, IsEmpty());
  traced.read(RegionXu64({0, 10}, {100, 2}));
  EXPECT_EQ(traced.access->reads, (Ranges{{1000, 200}})); // whole rows run on into each other
  traced.read(RegionXu64({10, 3}, {80, 4}));
  EXPECT_EQ(traced.access->reads, (Ranges{{310, 380}})); // little lies between the rows
  traced.read(RegionXu64({0, 0}, {0, 64}));
  EXPECT_THAT(traced.access->reads, IsEmpty());
  traced.read(RegionXu64({7, 0}, {1, 64}));
  EXPECT_THAT(traced.access->reads, SizeIs(64)); // far apart: each on its own, but all at once
  EXPECT_THAT(traced.access->lists, ElementsAre(64));

  Traced rows({100, 64}, DataTypeId::UINT8, MemoryLayout::C);
  rows.read(RegionXu64({10, 0}, {2, 64}));
  EXPECT_EQ(rows.access->reads, (Ranges{{640, 128}}));
}

TEST(ImageOverAccess, WastesABoundedShareAndWritesNothingElse) {
  std::mt19937 random(20240601);
  for (auto const layout : {MemoryLayout::C, MemoryLayout::FORTRAN})
    for (int round = 0; round < 60; ++round) {
      Traced traced({random() % 40 + 1, random() % 40 + 1, random() % 40 + 1}, DataTypeId::UINT16, layout);
      auto const region = randomRegion(traced.image->shape(), random);
      SCOPED_TRACE(region.toString());
      auto data = traced.read(region);
      EXPECT_THAT(TracingAccess::total(traced.access->reads), Le(8 * data.size()));
      for (auto & byte : data)
        byte = static_cast<uint8_t>(~byte);
      traced.image->writeRegion(region, data.data());
      EXPECT_EQ(TracingAccess::total(traced.access->writes), data.size());
      EXPECT_EQ(traced.read(region), data);
    }
}

TEST(ImageOverAccess, LargeRegionsGoThroughBlocks) {
  VectorXu64 const shape{700, 900, 3};
  Traced traced(shape, DataTypeId::UINT16, MemoryLayout::C);
  auto const all = traced.read(RegionXu64::createFullRegion(shape)); // transposed
  auto const stored = traced.access->bytes;
  for (size_t n = 0, z = 0; z < 3; ++z)
    for (size_t y = 0; y < 900; ++y)
      for (size_t x = 0; x < 700; ++x, ++n)
        ASSERT_EQ(std::memcmp(&all[2 * n], &stored[2 * ((x * 900 + y) * 3 + z)], 2), 0) << n;
  EXPECT_EQ(TracingAccess::total(traced.access->reads), all.size());
  for (auto const & [offset, size] : traced.access->reads)
    EXPECT_THAT(size, Le(1u << 20));
  traced.access->bytes.assign(traced.access->bytes.size(), 0);
  traced.image->writeRegion(RegionXu64::createFullRegion(shape), all.data());
  EXPECT_EQ(traced.access->bytes, stored);
}

TEST(ImageOverAccess, RefusesWhatDoesNotFitAndGoesOnAfterAFailure) {
  auto const access = std::make_shared<TracingAccess>(ramp(23));
  auto const make = [&](VectorXu64 const & shape, DataType type) {
    return ImageViewFactory::fromRandomAccess(access, MemoryLayout::C, shape, type);
  };
  EXPECT_THROW(make({uint64_t{1} << 40, uint64_t{1} << 40}, DataTypeId::UINT8), Error);
  EXPECT_THROW(make({4}, DataTypeId::UTF8_STRING), InvalidArgument);
  auto const image = make({4, 5}, DataTypeId::UINT8);
  access->failFrom = 10;
  EXPECT_THROW(valuesOf(*image), Error);
  access->failFrom = ~size_t{0};
  access->bytes.resize(15); // cut short by somebody else
  EXPECT_THROW(valuesOf(*image), Error);
  access->bytes.resize(20);
  EXPECT_EQ(valuesOf(*image).size(), 20u);
}

// ---- images on disk ------------------------------------------------------------------------------------------------

TEST(ImageOnDisk, WhatAKilledProcessLeftIsSweptAway) {
  auto const folder = scratchFolder();
  std::array<int, 2> ready{};
  ASSERT_EQ(::pipe(ready.data()), 0);
  auto const child = ::fork();
  if (child == 0) {
    auto const image = ImageViewFactory::createOnDisk(folder, {10}, DataTypeId::UINT8);
    char const byte = 1;
    if (::write(ready[1], &byte, 1) == 1)
      ::pause();
    std::_Exit(1);
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  ASSERT_THAT(filesIn(folder), SizeIs(1));
  auto const left = filesIn(folder)[0];

  auto mine = ImageViewFactory::createOnDisk(folder, {10}, DataTypeId::UINT8);
  EXPECT_TRUE(fs::exists(left)); // its owner lives
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(fs::exists(left));
  auto const foreign = folder / "zarnik-notes.raw";
  std::ofstream(foreign) << "mine";
  auto const next = ImageViewFactory::createOnDisk(folder, {10}, DataTypeId::UINT8);
  EXPECT_FALSE(fs::exists(left));
  EXPECT_TRUE(fs::exists(foreign));
  EXPECT_THAT(filesIn(folder), SizeIs(3));
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST(ImageOnDisk, AChildOfForkLeavesItsParentsFile) {
  auto const folder = scratchFolder();
  auto image = ImageViewFactory::createOnDisk(folder, {10}, DataTypeId::UINT8);
  auto const child = ::fork();
  if (child == 0) {
    image.reset();
    std::_Exit(0);
  }
  ::waitpid(child, nullptr, 0);
  EXPECT_THAT(filesIn(folder), SizeIs(1));
}

} // namespace
} // namespace zarnik::test
