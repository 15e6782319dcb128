#include "serialization/Hash.h"
#include "layout/CacheSize.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccessFactory.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/Threads.h"
#include "zarnik/serialization/Serialization.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"

#include <algorithm>
#include <cstring>
#include <gmock/gmock.h>
#include <numeric>
#include <random>
#include <vector>

namespace zarnik::test {
namespace {

TEST(Hash, IsTheSameOnEveryVectorUnitInAnyPartsAndCopyingOrNot) {
  EXPECT_EQ(format::hashOf("", 0), 0x2D06800538D394C2U);
  std::vector<uint64_t> words(10'000);
  std::generate(words.begin(), words.end(), std::mt19937_64(3));
  auto const * const bytes = reinterpret_cast<unsigned char const *>(words.data());
  std::mt19937 random(5);
  for (auto const * const kernels : format::hashKernels()) {
    SCOPED_TRACE(kernels->unit);
    for (size_t const size : {1, 63, 64, 65, 240, 241, 511, 513, 1024, 2047, 4160, 8193, 9'993}) {
      format::RunningHash parted(*kernels);
      for (size_t done = 0; done != size;) {
        auto const part = std::min<size_t>(size - done, random() % 5000);
        parted.add(bytes + 3 + done, part);
        done += part;
      }
      EXPECT_EQ(parted.value(), format::hashOf(bytes + 3, size)) << size;
      for (size_t const blocks : {0, 1, 2, 5}) {
        std::vector<unsigned char> copy(blocks * size + 192, 0xAB), expected(copy);
        std::vector<uint64_t> hashes(blocks), expectedHashes(blocks);
        auto const first = random() % 128;
        kernels->copyBlocks(copy.data() + first, bytes + 3, size, blocks, hashes.data());
        std::copy_n(bytes + 3, blocks * size, expected.begin() + static_cast<ptrdiff_t>(first));
        for (size_t block = 0; block != blocks; ++block)
          expectedHashes[block] = format::hashOf(bytes + 3 + block * size, size);
        EXPECT_EQ(copy, expected) << size;
        EXPECT_EQ(hashes, expectedHashes) << size;
      }
    }
  }
}

TEST(Hash, WhatIsLargerThanTheCachesIsStoredInMemoryAsAnywhere) {
  auto const image = ImageViewFactory::allocate({layout::streamingThresholdBytes() / 8 + 77}, DataTypeId::UINT64);
  auto * const samples = static_cast<uint64_t *>(image->buffer());
  std::iota(samples, samples + image->bufferSize() / 8, uint64_t{1} << 40);
  auto const growing = StreamAccessFactory::allocate();
  Serialization::encodeImageView(image, growing);
  auto const size = growing->tell();
  auto const fixed = RandomAccessFactory::allocate(size + 5);
  auto const stream = StreamAccessFactory::fromRandomAccess(fixed);
  stream->seek(5, SeekOrigin::BEGIN);
  Serialization::encodeImageView(image, stream);
  EXPECT_EQ(stream->tell(), size + 5);
  auto const * const bytes = static_cast<std::byte const *>(growing->buffer());
  EXPECT_TRUE(std::equal(bytes, bytes + size, static_cast<std::byte const *>(fixed->buffer()) + 5));
  stream->seek(5, SeekOrigin::BEGIN);
  EXPECT_EQ(Serialization::decodeImageView(stream)->bufferSize(), image->bufferSize());
}

TEST(Hash, OnAnotherThreadIsThatOfOne) {
  auto const image = ImageViewFactory::allocate({3'333'333}, DataTypeId::UINT64);
  auto * const samples = static_cast<uint64_t *>(image->buffer());
  std::iota(samples, samples + image->bufferSize() / 8, uint64_t{1} << 40);
  auto const before = threadCount();
  auto const encoded = [&](size_t threads) {
    setThreadCount(threads);
    auto stream = StreamAccessFactory::allocate();
    Serialization::encodeImageView(image, stream);
    return stream;
  };
  auto const alone = encoded(1), helped = encoded(2);
  auto const size = alone->tell();
  EXPECT_EQ(helped->tell(), size);
  auto * const bytes = static_cast<char *>(helped->buffer());
  EXPECT_EQ(std::memcmp(alone->buffer(), bytes, size), 0);
  helped->seek(0, SeekOrigin::BEGIN);
  EXPECT_EQ(std::memcmp(Serialization::decodeImageView(helped)->buffer(), samples, image->bufferSize()), 0);
  auto const part = RandomAccessFactory::extractRegion(RandomAccessFactory::fromBuffer(bytes, size), 0, size / 2);
  EXPECT_THROW(Serialization::decodeImageView(StreamAccessFactory::fromRandomAccess(part)), Error);
  bytes[size / 2] ^= 1;
  helped->seek(0, SeekOrigin::BEGIN);
  EXPECT_THROW(Serialization::decodeImageView(helped), Error);
  setThreadCount(before);
}

} // namespace
} // namespace zarnik::test
