// The library's accessors and streams: the contracts over all of them, and what is each one's own.
#include "access/AccessContract.h"
#include "access/TracingAccess.h"
#include "zarnik/access/FolderStorage.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccessFactory.h"

#include <gtest/gtest.h>

namespace zarnik::test {
namespace {

constexpr auto RANDOM_READ = RandomAccessCapability::READ;
constexpr auto MEMORY = RandomAccessCapability::MEMORY_ACCESS;
constexpr auto RESIZE = RandomAccessCapability::RESIZE;
constexpr auto RANDOM_BOTH = RandomAccessCapability::READ_WRITE;

std::shared_ptr<RandomAccess> filled(std::shared_ptr<RandomAccess> access, Bytes const & content) {
  EXPECT_EQ(access->write(0, content.data(), content.size()), content.size());
  return access;
}

std::shared_ptr<RandomAccess> borrowed(Bytes const & content, bool canWrite) {
  auto const owner = std::make_shared<Bytes>(content);
  return RandomAccessFactory::fromBuffer(owner->data(), owner->size(), owner, canWrite);
}

std::shared_ptr<RandomAccess> foreignRandom(Bytes const & content) { return std::make_shared<TracingAccess>(content); }

// A region in the middle of other bytes.
std::shared_ptr<RandomAccess> inside(std::shared_ptr<RandomAccess> const & access) {
  return RandomAccessFactory::extractRegion(access, 3, access->size() - 5);
}

Bytes framed(Bytes content) {
  content.insert(content.begin(), 3, 250);
  content.insert(content.end(), 2, 251);
  return content;
}

INSTANTIATE_TEST_SUITE_P(
    Library, RandomAccessContract,
    testing::Values(
        RandomAccessImplementation{
            "memory", RANDOM_BOTH | MEMORY | RESIZE,
            [](Bytes const & bytes) { return filled(RandomAccessFactory::allocate(bytes.size()), bytes); }},
        RandomAccessImplementation{"buffer", RANDOM_BOTH | MEMORY,
                                   [](Bytes const & bytes) { return borrowed(bytes, true); }},
        RandomAccessImplementation{"readonlyBuffer", RANDOM_READ | MEMORY,
                                   [](Bytes const & bytes) { return borrowed(bytes, false); }},
        RandomAccessImplementation{
            "fileRead", RANDOM_READ,
            [](Bytes const & bytes) { return RandomAccessFactory::openURIRead("file://" + scratchFile(bytes)); }},
        RandomAccessImplementation{
            "file", RANDOM_BOTH | RESIZE,
            [](Bytes const & bytes) { return RandomAccessFactory::openFile(scratchFile(bytes)); }},
        RandomAccessImplementation{"fileOfStorage", RANDOM_BOTH | RESIZE,
                                   [](Bytes const & bytes) {
                                     auto const file = std::filesystem::path(scratchFile(bytes));
                                     return FolderStorage::open(file.parent_path())
                                         ->openRandomAccess(file.filename(), AccessCapabilities::READ_WRITE);
                                   }},
        RandomAccessImplementation{
            "mapping", RANDOM_BOTH | MEMORY,
            [](Bytes const & bytes) { return RandomAccessFactory::mapFile(scratchFile(bytes)); }},
        RandomAccessImplementation{"regionOfMemory", RANDOM_BOTH | MEMORY,
                                   [](Bytes const & bytes) { return inside(borrowed(framed(bytes), true)); }},
        RandomAccessImplementation{"regionOfRegionOfFile", RANDOM_BOTH,
                                   [](Bytes const & bytes) {
                                     return inside(
                                         inside(RandomAccessFactory::openFile(scratchFile(framed(framed(bytes))))));
                                   }},
        RandomAccessImplementation{"overStream", RANDOM_BOTH,
                                   [](Bytes const & bytes) {
                                     return RandomAccessFactory::fromStream(foreignStream(
                                         bytes, StreamAccessCapability::READ_WRITE | StreamAccessCapability::SEEK));
                                   }},
        RandomAccessImplementation{"foreign", RANDOM_BOTH, foreignRandom}),
    nameOf);

constexpr auto BOTH = StreamAccessCapability::READ_WRITE;
constexpr auto SEEK = StreamAccessCapability::SEEK;
constexpr auto IN_MEMORY = StreamAccessCapability::MEMORY_ACCESS;

std::shared_ptr<StreamAccess> filled(std::shared_ptr<StreamAccess> stream, Bytes const & content) {
  EXPECT_EQ(stream->write(content.data(), content.size()), content.size());
  stream->seek(0, SeekOrigin::BEGIN);
  return stream;
}

INSTANTIATE_TEST_SUITE_P(
    Library, StreamAccessContract,
    testing::Values(
        StreamAccessImplementation{"memory", BOTH | SEEK | IN_MEMORY, true,
                                   [](Bytes const & bytes) { return filled(StreamAccessFactory::allocate(), bytes); }},
        StreamAccessImplementation{
            "memoryOfFixedSize", BOTH | SEEK | IN_MEMORY, false,
            [](Bytes const & bytes) { return filled(StreamAccessFactory::allocate(bytes.size()), bytes); }},
        StreamAccessImplementation{"copyInMemory", BOTH | SEEK | IN_MEMORY, true,
                                   [](Bytes const & bytes) {
                                     return StreamAccessFactory::copyInMemory(
                                         foreignStream(bytes, StreamAccessCapability::READ_SEEK));
                                   }},
        StreamAccessImplementation{
            "fileRead", StreamAccessCapability::READ_SEEK, false,
            [](Bytes const & bytes) { return StreamAccessFactory::openFileRead(scratchFile(bytes)); }},
        StreamAccessImplementation{
            "fileWrite", StreamAccessCapability::WRITE_SEEK, true,
            [](Bytes const & bytes) { return filled(StreamAccessFactory::openFileWrite(scratchFile({1})), bytes); }},
        StreamAccessImplementation{
            "file", BOTH | SEEK, true,
            [](Bytes const & bytes) { return StreamAccessFactory::openFile(scratchFile(bytes)); }},
        StreamAccessImplementation{
            "overRandom", BOTH | SEEK, false,
            [](Bytes const & bytes) { return StreamAccessFactory::fromRandomAccess(foreignRandom(bytes)); }},
        StreamAccessImplementation{
            "overReadonlyBuffer", StreamAccessCapability::READ_SEEK | IN_MEMORY, false,
            [](Bytes const & bytes) { return StreamAccessFactory::fromRandomAccess(borrowed(bytes, false)); }},
        StreamAccessImplementation{"foreign", BOTH | SEEK, false,
                                   [](Bytes const & bytes) { return foreignStream(bytes, BOTH | SEEK); }},
        StreamAccessImplementation{
            "foreignWithoutSeek", StreamAccessCapability::READ, false,
            [](Bytes const & bytes) { return foreignStream(bytes, StreamAccessCapability::READ); }}),
    nameOf);

TEST(Access, RefusesWhatIsNull) {
  EXPECT_THROW(RandomAccessFactory::extractRegion(nullptr, 0), InvalidArgument);
  EXPECT_THROW(RandomAccessFactory::extractRegion(nullptr, 0, 0), InvalidArgument);
  EXPECT_THROW(RandomAccessFactory::fromBuffer(nullptr, 1), InvalidArgument);
  EXPECT_EQ(RandomAccessFactory::fromBuffer(nullptr, 0)->size(), 0u);
}

TEST(Access, CopiesAndConvertsOnlyWhatItHasTo) {
  auto const memory = RandomAccessFactory::allocate(3);
  EXPECT_EQ(RandomAccessFactory::copyInMemory(memory), memory);
  auto const file = RandomAccessFactory::openFileRead(scratchFile(ramp(10)));
  EXPECT_EQ(static_cast<uint8_t *>(RandomAccessFactory::copyInMemory(file)->buffer())[9], 10);
  EXPECT_EQ(RandomAccessFactory::fromStream(StreamAccessFactory::fromRandomAccess(file)), file);
  auto const withoutSeek = foreignStream(ramp(3), StreamAccessCapability::READ);
  EXPECT_THROW(RandomAccessFactory::fromStream(withoutSeek), Error);
  EXPECT_THROW(StreamAccessFactory::copyInMemory(withoutSeek), Error);
  EXPECT_THROW(StreamAccessFactory::copyInMemory(foreignStream(ramp(3), SEEK)), Error);

  auto const source = foreignStream(ramp(10), StreamAccessCapability::READ_SEEK);
  source->seek(4, SeekOrigin::BEGIN);
  StreamAccessFactory::copyInMemory(source);
  EXPECT_EQ(source->tell(), 4u);
}

TEST(Access, KeepsRegionsInside) {
  auto const memory = RandomAccessFactory::allocate(10);
  EXPECT_EQ(RandomAccessFactory::extractRegion(memory, 10)->size(), 0u);
  EXPECT_EQ(RandomAccessFactory::extractRegion(memory, 4)->size(), 6u);
  EXPECT_THROW(RandomAccessFactory::extractRegion(memory, 11), InvalidArgument);
  EXPECT_THROW(RandomAccessFactory::extractRegion(memory, 4, 7), InvalidArgument);
  EXPECT_THROW(RandomAccessFactory::extractRegion(memory, 1, SIZE_MAX), InvalidArgument);
  EXPECT_THROW(RandomAccessFactory::extractRegion(memory, SIZE_MAX, 2), InvalidArgument);

  auto const region = RandomAccessFactory::extractRegion(memory, 4, 6);
  memory->resize(5);
  EXPECT_EQ(region->buffer(), nullptr) << "the region's memory is no longer there";
  uint8_t out[6] = {};
  EXPECT_EQ(region->read(0, out, 6), 1u);
}

TEST(Access, GrowsBySharingNoMemory) {
  auto const access = RandomAccessFactory::allocate(0);
  Bytes expected;
  // Parts of the accessor's own memory may be written to it while it moves.
  for (size_t round = 1; round < 400; ++round) {
    Bytes const source(round, static_cast<uint8_t>(round));
    ASSERT_EQ(access->write(expected.size(), source.data(), source.size()), source.size());
    expected.insert(expected.end(), source.begin(), source.end());
  }
  auto const size = expected.size();
  ASSERT_EQ(access->write(size, access->buffer(), size), size);
  expected.insert(expected.end(), expected.begin(), expected.begin() + static_cast<ptrdiff_t>(size));
  auto const * const memory = static_cast<uint8_t const *>(access->buffer());
  EXPECT_EQ(Bytes(memory, memory + access->size()), expected);
}

} // namespace
} // namespace zarnik::test
