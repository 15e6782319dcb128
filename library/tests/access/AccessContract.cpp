#include "access/AccessContract.h"

#include "zarnik/core/Error.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <limits>
#include <thread>

namespace zarnik::test {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

namespace {

constexpr auto HUGE_OFFSET = size_t{1} << 63;
constexpr auto LAST_OFFSET = std::numeric_limits<size_t>::max();

Bytes readSome(StreamAccess & stream, size_t size) {
  Bytes content(size);
  content.resize(stream.read(content.data(), size));
  return content;
}

} // namespace

// ---- random access -------------------------------------------------------------------------------------------------

TEST_P(RandomAccessContract, TellsWhatItIs) {
  auto const access = make();
  EXPECT_EQ(access->capabilities(), GetParam().capabilities);
  EXPECT_EQ(access->size(), 10u);
  EXPECT_FALSE(access->toString().empty());
  EXPECT_EQ(make(0)->size(), 0u);
}

TEST_P(RandomAccessContract, ReadsAnyRangeAndShortAtTheEnd) {
  if (!offers(RandomAccessCapability::READ))
    GTEST_SKIP();
  auto const access = make();
  auto const content = ramp(10);
  for (size_t offset = 0; offset < 13; ++offset)
    for (size_t size = 0; size < 13; ++size) {
      Bytes out(13, 99);
      auto const expected = offset >= 10 ? 0 : std::min(size, 10 - offset);
      ASSERT_EQ(access->read(offset, out.data(), size), expected) << offset << " " << size;
      Bytes wanted(content.begin() + static_cast<ptrdiff_t>(std::min<size_t>(offset, 10)), content.end());
      wanted.resize(expected);
      wanted.resize(13, 99);
      ASSERT_EQ(out, wanted) << offset << " " << size;
    }
  for (auto const offset : {HUGE_OFFSET - 1, HUGE_OFFSET, LAST_OFFSET}) {
    uint8_t byte = 99;
    EXPECT_EQ(access->read(offset, &byte, 1), 0u);
    EXPECT_EQ(byte, 99);
  }
  EXPECT_EQ(access->read(3, nullptr, 0), 0u);
  uint8_t byte = 0;
  EXPECT_EQ(make(0)->read(0, &byte, 1), 0u);
}

TEST_P(RandomAccessContract, ReadsManyPartsAtOnceEachWhole) {
  if (!offers(RandomAccessCapability::READ))
    GTEST_SKIP();
  auto const access = make();
  Bytes out(8, 0);
  // Out of order, overlapping, empty.
  RandomAccess::ReadRequest const requests[] = {
      {7, out.data(), 3}, {0, out.data() + 3, 2}, {1, out.data() + 5, 3}, {10, nullptr, 0}};
  access->readMany(requests);
  EXPECT_THAT(out, ElementsAre(8, 9, 10, 1, 2, 2, 3, 4));
  access->readMany({});
  for (auto const offset : {size_t{9}, size_t{10}, HUGE_OFFSET, LAST_OFFSET}) {
    RandomAccess::ReadRequest const beyond[] = {{0, out.data(), 1}, {offset, out.data(), 2}};
    EXPECT_THROW(access->readMany(beyond), Error);
  }
  EXPECT_EQ(readAll(*access), ramp(10));
}

TEST_P(RandomAccessContract, WritesWhatFitsOrGrows) {
  auto const access = make();
  Bytes const source{101, 102, 103, 104};
  if (!offers(RandomAccessCapability::WRITE)) {
    EXPECT_THROW(access->write(0, source.data(), 1), NotImplemented);
    EXPECT_EQ(readAll(*access), ramp(10));
    return;
  }
  bool const grows = offers(RandomAccessCapability::RESIZE);
  EXPECT_EQ(access->write(2, source.data(), 3), 3u);
  EXPECT_EQ(access->write(5, source.data(), 0), 0u);
  EXPECT_EQ(access->write(20, nullptr, 0), 0u);
  EXPECT_EQ(access->size(), 10u);
  EXPECT_EQ(access->write(8, source.data(), 4), grows ? 4u : 2u);
  EXPECT_EQ(access->write(14, source.data(), 1), grows ? 1u : 0u);
  if (offers(RandomAccessCapability::READ)) {
    auto const content = readAll(*access);
    if (grows)
      EXPECT_THAT(content, ElementsAre(1, 2, 101, 102, 103, 6, 7, 8, 101, 102, 103, 104, 0, 0, 101));
    else
      EXPECT_THAT(content, ElementsAre(1, 2, 101, 102, 103, 6, 7, 8, 101, 102));
  }
  auto const size = access->size();
  for (auto const offset : {HUGE_OFFSET, LAST_OFFSET - 1, LAST_OFFSET}) {
    if (grows)
      EXPECT_THROW(access->write(offset, source.data(), 4), Error);
    else
      EXPECT_EQ(access->write(offset, source.data(), 4), 0u);
  }
  EXPECT_EQ(access->size(), size);
  EXPECT_EQ(access->write(0, source.data(), 1), 1u);
}

TEST_P(RandomAccessContract, ResizesOrSaysThatItCannot) {
  auto const access = make();
  if (!offers(RandomAccessCapability::RESIZE)) {
    EXPECT_THROW(access->resize(5), NotImplemented);
    EXPECT_EQ(access->size(), 10u);
    return;
  }
  for (size_t const size : {5, 0, 20, 100000}) {
    access->resize(size);
    EXPECT_EQ(access->size(), size);
  }
  for (auto const size : {HUGE_OFFSET, LAST_OFFSET})
    EXPECT_THROW(access->resize(size), Error);
  EXPECT_EQ(access->size(), 100000u);
  uint8_t const byte = 7;
  EXPECT_EQ(access->write(99999, &byte, 1), 1u);
}

TEST_P(RandomAccessContract, OffersItsMemoryOrNone) {
  auto const access = make();
  if (!offers(RandomAccessCapability::MEMORY_ACCESS)) {
    EXPECT_EQ(access->buffer(), nullptr);
    EXPECT_EQ(access->sharedBuffer(), nullptr);
    return;
  }
  EXPECT_NE(make(0)->buffer(), nullptr);
  auto const * const memory = static_cast<uint8_t const *>(access->buffer());
  EXPECT_EQ(Bytes(memory, memory + 10), ramp(10));
  if (offers(RandomAccessCapability::WRITE)) {
    uint8_t const byte = 77;
    access->write(4, &byte, 1);
    EXPECT_EQ(memory[4], 77);
  }
}

TEST_P(RandomAccessContract, SharesMemoryThatOutlivesIt) {
  auto access = make();
  auto const memory = access->sharedBuffer();
  if (memory == nullptr)
    GTEST_SKIP();
  EXPECT_EQ(memory.get(), access->buffer());
  if (offers(RandomAccessCapability::RESIZE)) {
    access->resize(1000000);
    Bytes const source(1000, 5);
    access->write(1999000, source.data(), source.size());
  }
  access.reset();
  auto const * const bytes = static_cast<uint8_t const *>(memory.get());
  EXPECT_EQ(Bytes(bytes, bytes + 10), ramp(10));
}

TEST_P(RandomAccessContract, IsReadOnSeveralThreads) {
  if (!offers(RandomAccessCapability::READ))
    GTEST_SKIP();
  auto const access = make(200);
  auto const content = ramp(200);
  std::vector<std::thread> threads;
  for (size_t thread = 0; thread < 4; ++thread)
    threads.emplace_back([&, thread] {
      for (size_t round = 0; round < 50; ++round) {
        auto const offset = (thread * 37 + round * 11) % 190;
        uint8_t out[10] = {};
        EXPECT_EQ(access->read(offset, out, 10), 10u);
        EXPECT_TRUE(std::equal(out, out + 10, content.begin() + static_cast<ptrdiff_t>(offset)));
      }
    });
  for (auto & thread : threads)
    thread.join();
}

// ---- streams -------------------------------------------------------------------------------------------------------

TEST_P(StreamAccessContract, TellsWhatItIs) {
  auto const stream = make();
  EXPECT_EQ(stream->capabilities(), GetParam().capabilities);
  EXPECT_EQ(stream->tell(), 0u);
  EXPECT_TRUE(stream->good());
  EXPECT_FALSE(stream->eof());
  EXPECT_FALSE(stream->fail());
  EXPECT_FALSE(stream->toString().empty());
  EXPECT_EQ(stream->buffer() != nullptr, offers(StreamAccessCapability::MEMORY_ACCESS));
}

TEST_P(StreamAccessContract, ReadsInOrderUntilItMeetsTheEnd) {
  auto const stream = make();
  if (!offers(StreamAccessCapability::READ)) {
    uint8_t byte = 0;
    EXPECT_THROW(stream->read(&byte, 1), NotImplemented);
    EXPECT_THROW(stream->peek(), NotImplemented);
    EXPECT_EQ(stream->tell(), 0u);
    return;
  }
  EXPECT_EQ(stream->peek(), 1);
  EXPECT_EQ(stream->tell(), 0u);
  EXPECT_THAT(readSome(*stream, 4), ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(stream->tell(), 4u);
  EXPECT_EQ(stream->peek(), 5);
  EXPECT_THAT(readSome(*stream, 6), ElementsAre(5, 6, 7, 8, 9, 10));
  EXPECT_FALSE(stream->eof()) << "the end was reached, but not met";
  EXPECT_EQ(stream->read(nullptr, 0), 0u);
  EXPECT_FALSE(stream->eof());
  EXPECT_THROW(stream->peek(), Error);
  EXPECT_TRUE(readSome(*stream, 1).empty());
  EXPECT_TRUE(stream->eof());
  EXPECT_FALSE(stream->good());
  EXPECT_FALSE(stream->fail());
  EXPECT_EQ(stream->tell(), 10u);
}

TEST_P(StreamAccessContract, SeeksFromEachOrigin) {
  auto const stream = make();
  if (!offers(StreamAccessCapability::SEEK)) {
    EXPECT_THROW(stream->seek(0, SeekOrigin::BEGIN), NotImplemented);
    return;
  }
  stream->seek(-3, SeekOrigin::END);
  EXPECT_EQ(stream->tell(), 7u);
  stream->seek(-2, SeekOrigin::CURRENT);
  EXPECT_EQ(stream->tell(), 5u);
  stream->seek(1, SeekOrigin::CURRENT);
  EXPECT_EQ(stream->tell(), 6u);
  for (auto const & [offset, origin] :
       std::initializer_list<std::pair<int64_t, SeekOrigin>>{{-1, SeekOrigin::BEGIN},
                                                             {-7, SeekOrigin::CURRENT},
                                                             {-11, SeekOrigin::END},
                                                             {std::numeric_limits<int64_t>::min(), SeekOrigin::BEGIN},
                                                             {std::numeric_limits<int64_t>::min(), SeekOrigin::END},
                                                             {0, static_cast<SeekOrigin>(0)},
                                                             {0, static_cast<SeekOrigin>(4)}}) {
    EXPECT_THROW(stream->seek(offset, origin), Error) << offset;
    EXPECT_EQ(stream->tell(), 6u) << "a seek that fails keeps the position";
  }
  if (offers(StreamAccessCapability::READ)) {
    stream->seek(0, SeekOrigin::END);
    EXPECT_TRUE(readSome(*stream, 1).empty());
    EXPECT_TRUE(stream->eof());
    stream->seek(9, SeekOrigin::BEGIN);
    EXPECT_TRUE(stream->good()) << "a seek clears the end";
    EXPECT_THAT(readSome(*stream, 5), ElementsAre(10));
  }
}

TEST_P(StreamAccessContract, SeeksBehindTheEndOnlyWhereItCanGrow) {
  if (!offers(StreamAccessCapability::SEEK))
    GTEST_SKIP();
  auto const stream = make();
  if (!GetParam().grows) {
    for (auto const & [offset, origin] : std::initializer_list<std::pair<int64_t, SeekOrigin>>{
             {11, SeekOrigin::BEGIN}, {1, SeekOrigin::END}, {std::numeric_limits<int64_t>::max(), SeekOrigin::END}})
      EXPECT_THROW(stream->seek(offset, origin), Error);
    EXPECT_EQ(stream->tell(), 0u);
    return;
  }
  stream->seek(2, SeekOrigin::END);
  uint8_t const byte = 200;
  EXPECT_EQ(stream->write(&byte, 1), 1u);
  EXPECT_EQ(stream->tell(), 13u);
  if (offers(StreamAccessCapability::READ)) {
    stream->seek(9, SeekOrigin::BEGIN);
    EXPECT_THAT(readSome(*stream, 10), ElementsAre(10, 0, 0, 200));
  }
  // So far out that there is no room: an error, and the stream goes on.
  stream->seek(std::numeric_limits<int64_t>::max(), SeekOrigin::BEGIN);
  EXPECT_THROW(stream->write("abcdefgh", 8), Error);
  stream->seek(0, SeekOrigin::BEGIN);
  EXPECT_EQ(stream->write(&byte, 1), 1u);
  stream->seek(0, SeekOrigin::END);
  EXPECT_EQ(stream->tell(), 13u);
}

TEST_P(StreamAccessContract, WritesAtTheCursor) {
  auto const stream = make();
  Bytes const source{101, 102, 103, 104};
  if (!offers(StreamAccessCapability::WRITE)) {
    EXPECT_THROW(stream->write(source.data(), 4), NotImplemented);
    EXPECT_EQ(stream->tell(), 0u);
    return;
  }
  EXPECT_EQ(stream->write(source.data(), 2), 2u);
  EXPECT_EQ(stream->write(nullptr, 0), 0u);
  EXPECT_EQ(stream->tell(), 2u);
  stream->flush();
  if (!offers(StreamAccessCapability::SEEK))
    return;
  stream->seek(8, SeekOrigin::BEGIN);
  EXPECT_EQ(stream->write(source.data(), 4), GetParam().grows ? 4u : 2u);
  EXPECT_EQ(stream->tell(), GetParam().grows ? 12u : 10u);
  if (offers(StreamAccessCapability::READ)) {
    stream->seek(0, SeekOrigin::BEGIN);
    auto wanted = ramp(8);
    wanted[0] = 101;
    wanted[1] = 102;
    wanted.insert(wanted.end(), source.begin(), source.begin() + (GetParam().grows ? 4 : 2));
    EXPECT_THAT(readSome(*stream, 100), ElementsAreArray(wanted));
  }
}

} // namespace zarnik::test
