#include "views/ImageViewContract.h"
#include "views/TracingAccess.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/ImageViewProvider.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <random>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zarnik::test {
namespace {

using Bytes = std::vector<uint8_t>;
using Ranges = std::vector<TracingAccess::Range>;
using enum ImageCapability;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
using testing::ThrowsMessage;
namespace fs = std::filesystem;

/// A folder that goes with its object.
class Folder {
public:
  Folder() : path_(fs::temp_directory_path() / "zarnik-test-XXXXXX") {
    auto name = path_.string();
    if (::mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("no folder for the test");
    path_ = name;
  }
  ~Folder() { fs::remove_all(path_); }
  std::string string() const { return path_.string(); }
  std::vector<fs::path> files() const { return {fs::directory_iterator(path_), fs::directory_iterator()}; }

private:
  fs::path path_;
};

Bytes ramp(size_t count) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), uint8_t{0});
  return bytes;
}

Bytes readAll(ImageView & image) {
  Bytes bytes(Indexer(image.shape(), image.dataType()).byteCount());
  image.readRegion(RegionXu64::createFullRegion(image.shape()), bytes.data());
  return bytes;
}

auto samplesOf(std::shared_ptr<ImageView> const & image) {
  return [image] { return readAll(*image); };
}

ImageViewUnderTest onDisk(VectorXu64 const & shape, DataType dataType, Bytes const & samples) {
  auto const image = ImageViewFactory::createOnDisk(shape, dataType);
  image->writeRegion(RegionXu64::createFullRegion(shape), samples.data());
  return {image, samplesOf(image)};
}

ImageViewUnderTest overBuffer(VectorXu64 const & shape, DataType dataType, Bytes const & samples) {
  auto const buffer = std::make_shared<Bytes>(samples);
  return {ImageViewFactory::fromBuffer(shape, dataType, buffer->data(), buffer->size(), nullptr, nullptr),
          [buffer] { return *buffer; }};
}

/// The dense samples in the order of a layout, or back.
Bytes reordered(VectorXu64 const & shape, DataType dataType, MemoryLayout layout, Bytes const & from, bool back) {
  Indexer const fortran(shape, dataType), other(shape, dataType, layout);
  Bytes to(from.size());
  auto const bytes = dataType.byteCount();
  for (uint64_t position = 0; position < fortran.elementCount(); ++position) {
    VectorXu64 index(shape.size());
    for (uint64_t axis = 0, rest = position; axis < shape.size(); rest /= shape[axis], ++axis)
      index[axis] = rest % shape[axis];
    auto const here = fortran.byteOffset(index), there = other.byteOffset(index);
    std::copy_n(&from[back ? there : here], bytes, &to[back ? here : there]);
  }
  return to;
}

auto overAccess(MemoryLayout layout, RandomAccessCapabilitySet offered) {
  return [=](VectorXu64 const & shape, DataType dataType, Bytes const & samples) {
    auto const access = std::make_shared<TracingAccess>(reordered(shape, dataType, layout, samples, false), offered);
    return ImageViewUnderTest{ImageViewFactory::fromRandomAccess(access, layout, shape, dataType),
                              [=] { return reordered(shape, dataType, layout, access->bytes, true); }};
  };
}

INSTANTIATE_TEST_SUITE_P(
    Sources, ImageViewContract,
    testing::Values(
        ImageViewImplementation{"Disk", READ | WRITE | RESHAPE, onDisk},
        ImageViewImplementation{"Buffer", READ | WRITE | MEMORY_ACCESS, overBuffer},
        ImageViewImplementation{"AccessC", READ_WRITE, overAccess(MemoryLayout::C, RandomAccessCapability::READ_WRITE)},
        ImageViewImplementation{"AccessFortran", READ_WRITE,
                                overAccess(MemoryLayout::FORTRAN, RandomAccessCapability::READ_WRITE)},
        ImageViewImplementation{"AccessReadOnly", READ, overAccess(MemoryLayout::C, RandomAccessCapability::READ)},
        ImageViewImplementation{"AccessWriteOnly", WRITE,
                                overAccess(MemoryLayout::UNKNOWN, RandomAccessCapability::WRITE)}),
    implementationName);

// ---- views over an accessor
// -------------------------------------------------------------------------------------------

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
  std::shared_ptr<ImageView> image;
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
      VectorXu64 const shape{random() % 40 + 1, random() % 40 + 1, random() % 40 + 1};
      Traced traced(shape, DataTypeId::UINT16, layout);
      VectorXu64 origin(3), size(3);
      for (size_t axis = 0; axis < 3; ++axis) {
        origin[axis] = random() % shape[axis];
        size[axis] = random() % (shape[axis] - origin[axis]) + 1;
      }
      RegionXu64 const region(origin, size);
      auto data = traced.read(region);
      EXPECT_THAT(TracingAccess::total(traced.access->reads), Le(8 * data.size())) << region.toString();
      for (auto & byte : data)
        byte = static_cast<uint8_t>(~byte);
      traced.image->writeRegion(region, data.data());
      EXPECT_EQ(TracingAccess::total(traced.access->writes), data.size()) << region.toString();
      EXPECT_EQ(traced.read(region), data);
    }
}

TEST(ImageOverAccess, AdaptedSamplesAreThoseOfTheSameImageInMemory) {
  VectorXu64 const shape{13, 7, 5};
  std::mt19937 random(20240602);
  for (auto const layout : {MemoryLayout::C, MemoryLayout::FORTRAN})
    for (int round = 0; round < 40; ++round) {
      Traced traced(shape, DataTypeId::VEC3_UINT16, layout);
      auto const memory = ImageViewFactory::allocate(shape, DataTypeId::VEC3_UINT16);
      auto const before = readAll(*traced.image);
      memory->writeRegion(RegionXu64::createFullRegion(shape), before.data());
      VectorXu64 origin(3), size(3), steps(3);
      for (size_t axis = 0; axis < 3; ++axis) {
        origin[axis] = random() % shape[axis];
        size[axis] = random() % (shape[axis] - origin[axis]) + 1;
        steps[axis] = random() % 3 + 1;
      }
      auto const flipped = random() % 3, channel = random() % 4;
      auto const adapt = [&](std::shared_ptr<ImageView> image) {
        image = ImageViewFactory::extractRegion(std::move(image), RegionXu64(origin, size));
        image = ImageViewFactory::flip(ImageViewFactory::everyNth(std::move(image), steps), flipped);
        return channel == 3 ? image : ImageViewFactory::extractChannel(image, channel);
      };
      auto const ours = adapt(traced.image), theirs = adapt(memory);
      auto samples = readAll(*theirs);
      ASSERT_EQ(readAll(*ours), samples);
      std::ranges::generate(samples, [&] { return static_cast<uint8_t>(random()); });
      auto const whole = RegionXu64::createFullRegion(ours->shape());
      ours->writeRegion(whole, samples.data());
      theirs->writeRegion(whole, samples.data());
      ASSERT_EQ(readAll(*traced.image), readAll(*memory));
    }
}

TEST(ImageOverAccess, LargeRegionsGoThroughBlocks) {
  VectorXu64 const shape{700, 900, 3};
  Traced traced(shape, DataTypeId::UINT16, MemoryLayout::C);
  auto const all = traced.read(RegionXu64::createFullRegion(shape)); // transposed
  EXPECT_EQ(all, reordered(shape, DataTypeId::UINT16, MemoryLayout::C, traced.access->bytes, true));
  EXPECT_EQ(TracingAccess::total(traced.access->reads), all.size());
  for (auto const & [offset, size] : traced.access->reads)
    EXPECT_THAT(size, Le(1u << 20));
  traced.access->bytes.assign(traced.access->bytes.size(), 0);
  traced.image->writeRegion(RegionXu64::createFullRegion(shape), all.data());
  EXPECT_EQ(traced.access->bytes, reordered(shape, DataTypeId::UINT16, MemoryLayout::C, all, false));
}

TEST(ImageOverAccess, RefusesWhatDoesNotFitAndGoesOnAfterAFailure) {
  auto const access = std::make_shared<TracingAccess>(ramp(23));
  auto const make = [&](VectorXu64 const & shape, DataType type) {
    return ImageViewFactory::fromRandomAccess(access, MemoryLayout::C, shape, type);
  };
  EXPECT_THAT([&] { make({4, 3}, DataTypeId::UINT16); }, ThrowsMessage<InvalidArgument>(HasSubstr("24 bytes")));
  EXPECT_THROW(make({uint64_t{1} << 40, uint64_t{1} << 40}, DataTypeId::UINT8), Error);
  EXPECT_THROW(make({4}, DataTypeId::UTF8_STRING), InvalidArgument);
  EXPECT_THROW(ImageViewFactory::fromRandomAccess(nullptr, {1}, DataTypeId::UINT8), InvalidArgument);
  EXPECT_THROW(ImageViewFactory::fromRandomAccess(access, static_cast<MemoryLayout>(9), {1}, DataTypeId::UINT8), Error);
  auto const image = make({4, 5}, DataTypeId::UINT8);
  access->failFrom = 10;
  EXPECT_THAT([&] { readAll(*image); }, testing::Throws<Error>());
  access->failFrom = ~size_t{0};
  access->bytes.resize(15); // cut short by somebody else
  EXPECT_THROW(readAll(*image), Error);
  access->bytes.resize(20);
  EXPECT_EQ(readAll(*image).size(), 20u);
}

// ---- images on disk
// ---------------------------------------------------------------------------------------------------

TEST(ImageOnDisk, ItsFileLivesAsLongAsItDoes) {
  Folder const folder;
  auto image = ImageViewFactory::createOnDisk(folder.string(), {1000, 1000, 1000}, DataTypeId::UINT16);
  ASSERT_THAT(folder.files(), SizeIs(1));
  struct stat status {};
  ASSERT_EQ(::stat(folder.files()[0].c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_EQ(status.st_size, 2'000'000'000);
  EXPECT_THAT(status.st_blocks * 512, Le(1 << 20)); // sparse
  uint16_t const value = 513;
  image->write({999, 999, 999}, &value);
  uint16_t read = 0;
  image->read({999, 999, 999}, &read);
  EXPECT_EQ(read, value);
  image->reshape({2, 2}, DataTypeId::UINT8);
  EXPECT_EQ(fs::file_size(folder.files()[0]), 4u);
  auto region = ImageViewProvider::toReadOnly(image);
  image.reset();
  EXPECT_THAT(folder.files(), SizeIs(1));
  region.reset();
  EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(ImageOnDisk, NothingIsLeftOfAFailedCreation) {
  Folder const folder;
  auto const make = [&](VectorXu64 const & shape, std::string const & where) {
    return ImageViewFactory::createOnDisk(where, shape, DataTypeId::UINT16);
  };
  EXPECT_THROW(make({2}, folder.string() + "/missing"), InvalidArgument);
  EXPECT_THROW(make({uint64_t{1} << 61}, folder.string()), Error); // no file can be that long
  auto const properties = ImageProperties::fromDataType(DataTypeId::UINT16);
  properties->imageInfo().setBitDepth(17);
  EXPECT_THROW(ImageViewFactory::createOnDisk(folder.string(), {2}, DataTypeId::UINT16, properties, nullptr), Error);
  EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(ImageOnDisk, SpaceThatRunsOutIsAnErrorAtTheWrite) {
  // A limit on the size of files stands for a full disk.
  Folder const folder;
  auto const child = ::fork();
  if (child == 0) {
    auto const image = ImageViewFactory::createOnDisk(folder.string(), {1 << 20}, DataTypeId::UINT8);
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit const limit{1 << 16, 1 << 16};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    uint8_t const value = 1;
    image->write({(1 << 16) - 1}, &value);
    try {
      image->write({1 << 16}, &value);
    } catch (Error const & error) {
      std::_Exit(std::string(error.what()).find(folder.string()) == std::string::npos ? 1 : 0);
    }
    std::_Exit(2);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(ImageOnDisk, WhatAKilledProcessLeftIsSweptAway) {
  Folder const folder;
  std::array<int, 2> ready{};
  ASSERT_EQ(::pipe(ready.data()), 0);
  auto const child = ::fork();
  if (child == 0) {
    auto const image = ImageViewFactory::createOnDisk(folder.string(), {10}, DataTypeId::UINT8);
    char const byte = 1;
    if (::write(ready[1], &byte, 1) == 1)
      ::pause();
    std::_Exit(1);
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  ASSERT_THAT(folder.files(), SizeIs(1));
  auto const left = folder.files()[0];

  auto mine = ImageViewFactory::createOnDisk(folder.string(), {10}, DataTypeId::UINT8);
  EXPECT_TRUE(fs::exists(left)); // its owner lives
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(fs::exists(left));
  auto const foreign = fs::path(folder.string()) / "zarnik-notes.raw";
  std::ofstream(foreign) << "mine";
  auto const next = ImageViewFactory::createOnDisk(folder.string(), {10}, DataTypeId::UINT8);
  EXPECT_FALSE(fs::exists(left));
  EXPECT_TRUE(fs::exists(foreign));
  EXPECT_THAT(folder.files(), SizeIs(3));
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST(ImageOnDisk, AChildOfForkLeavesItsParentsFile) {
  Folder const folder;
  auto image = ImageViewFactory::createOnDisk(folder.string(), {10}, DataTypeId::UINT8);
  auto const child = ::fork();
  if (child == 0) {
    image.reset();
    std::_Exit(0);
  }
  ::waitpid(child, nullptr, 0);
  EXPECT_THAT(folder.files(), SizeIs(1));
}

TEST(ImageOnDisk, CopiesInChunksAndStopsWhenToldTo) {
  Folder const folder;
  VectorXu64 const shape{300, 200, 30};
  Traced traced(shape, DataTypeId::UINT16, MemoryLayout::C);
  traced.image->setSpatialUnit("mm");
  traced.image->setMetadata(std::make_shared<MetadataNode>("scan", nullptr));
  uint64_t told = 0;
  auto const copy = ImageViewFactory::copyOnDisk(traced.image, folder.string(), [&](uint64_t done, uint64_t total) {
    EXPECT_EQ(total, 3'600'000u);
    EXPECT_THAT(done - told, Le(1u << 20));
    told = done;
    return true;
  });
  EXPECT_EQ(told, 3'600'000u);
  EXPECT_EQ(readAll(*copy), readAll(*traced.image));
  EXPECT_EQ(copy->spatialUnit(), "mm");
  EXPECT_EQ(copy->metadata()->key(), "scan");
  EXPECT_EQ(copy->viewOrigin()->dataOrigin(), ViewDataOrigin::DRIVE);
  EXPECT_NE(ImageViewFactory::copyOnDisk(copy, folder.string()), copy);
  EXPECT_THAT(folder.files(), SizeIs(1));

  auto const stop = [](uint64_t done, uint64_t) { return done < 1'500'000; };
  EXPECT_THAT([&] { ImageViewFactory::copyOnDisk(traced.image, folder.string(), stop); },
              ThrowsMessage<Error>(HasSubstr("cancelled")));
  EXPECT_THAT(folder.files(), SizeIs(1));
  EXPECT_THROW(ImageViewFactory::copyOnDisk(nullptr), InvalidArgument);
  EXPECT_THROW(ImageViewFactory::copyOnDisk(ImageViewProvider::toWriteOnly(copy)), NotImplemented);
}

// ---- images in memory
// -------------------------------------------------------------------------------------------------

TEST(CopyInMemory, CopiesWhatIsNotThere) {
  auto const memory = ImageViewFactory::allocate({3, 2}, DataTypeId::UINT8);
  EXPECT_EQ(ImageViewFactory::copyInMemory(memory), memory);
  Traced traced({30, 20}, DataTypeId::UINT16, MemoryLayout::C);
  traced.image->setSpatialSpacing({2, 3, 4});
  auto const copy = ImageViewFactory::copyInMemory(traced.image);
  EXPECT_EQ(copy->capabilities(), READ | WRITE | RESHAPE | MEMORY_ACCESS);
  EXPECT_EQ(readAll(*copy), readAll(*traced.image));
  EXPECT_EQ(copy->spatialSpacing(), (Vector3d{2, 3, 4}));
  auto const stop = [](uint64_t, uint64_t) { return false; };
  EXPECT_THROW(ImageViewFactory::copyInMemory(traced.image, stop), Error);
  EXPECT_THROW(ImageViewFactory::copyInMemory(nullptr), InvalidArgument);
  EXPECT_THROW(ImageViewFactory::copyInMemory(ImageViewProvider::toWriteOnly(memory)), NotImplemented);
  traced.image->setAlpha(true); // of an image that has no colours
  EXPECT_THROW(ImageViewFactory::copyInMemory(traced.image), Error);
}

TEST(UniformImage, HasOneValueWhateverItsSize) {
  std::array<uint16_t, 3> value{1, 2, 65535};
  auto const huge = uint64_t{1} << 20;
  auto const image =
      ImageViewFactory::uniform({huge, huge, huge}, DataTypeId::VEC3_UINT16, value.data(), nullptr, nullptr);
  value.fill(0);
  EXPECT_EQ(image->capabilities(), ImageCapabilitySet(READ));
  EXPECT_EQ(image->viewOrigin()->dataOrigin(), ViewDataOrigin::GENERATED);
  std::array<uint16_t, 3> sample{};
  image->read({huge - 1, 0, huge / 2}, sample.data());
  EXPECT_THAT(sample, ElementsAre(1, 2, 65535));
  std::array<uint16_t, 12> region{};
  image->readRegion(RegionXu64({5, huge - 2, 0}, {2, 2, 1}), region.data());
  EXPECT_THAT(region, ElementsAre(1, 2, 65535, 1, 2, 65535, 1, 2, 65535, 1, 2, 65535));
  EXPECT_THROW(image->write({0, 0, 0}, sample.data()), NotImplemented);
  EXPECT_THROW(ImageViewFactory::uniform({1}, DataTypeId::UINT8, nullptr, nullptr, nullptr), InvalidArgument);
  EXPECT_THROW(ImageViewFactory::fromBuffer({3}, DataTypeId::UINT16, value.data(), 5, nullptr, nullptr),
               InvalidArgument);
}

} // namespace
} // namespace zarnik::test
