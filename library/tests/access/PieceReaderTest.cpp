// Many small pieces of a file, read through a mapping: the same bytes as by calls, and the same errors.
#include "platform/PieceReader.h"
#include "access/AccessSupport.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"

#include <atomic>
#include <cstring>
#include <fstream>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

namespace zarnik::test {
namespace {

using platform::PieceReader;
using Request = RandomAccess::ReadRequest;

constexpr size_t WINDOW = PieceReader::WINDOW_BYTES;
constexpr size_t FEWEST = PieceReader::FEWEST_PIECES;

uint8_t byteAt(size_t offset) { return static_cast<uint8_t>((offset * 2654435761u) >> 13); }

Bytes content(size_t size) {
  Bytes bytes(size);
  for (size_t offset = 0; offset < size; ++offset)
    bytes[offset] = byteAt(offset);
  return bytes;
}

/// Pieces, and memory of their own for each.
struct Pieces {
  void add(size_t offset, size_t size) {
    memory.push_back(std::make_unique<uint8_t[]>(size + 1));
    memory.back()[size] = 0x5a;
    requests.push_back({offset, memory.back().get(), size});
  }
  void addMany(size_t first, size_t count, size_t size = 3, size_t distance = 5000) {
    for (size_t number = 0; number < count; ++number)
      add(first + number * distance, size);
  }
  void expectRead() const {
    for (auto const & [offset, destination, size] : requests) {
      auto const * const bytes = static_cast<uint8_t const *>(destination);
      ASSERT_EQ(bytes[size], 0x5a) << "written behind the piece at " << offset;
      for (size_t number = 0; number < size; ++number)
        ASSERT_EQ(bytes[number], byteAt(offset + number)) << "at " << offset << " + " << number;
    }
  }

  std::vector<Request> requests;
  std::vector<std::unique_ptr<uint8_t[]>> memory;
};

/// Whether files of the scratch folder are mapped at all.
bool areMapped() {
  auto const file = RandomAccessFactory::openFileRead(scratchFile(content(WINDOW)));
  Pieces pieces;
  pieces.addMany(0, FEWEST);
  auto const before = PieceReader::residentBytes();
  file->readMany(pieces.requests);
  return PieceReader::residentBytes() != before;
}

TEST(PieceReader, MapsAWindowOnceEnoughOfItWasWanted) {
  if (!areMapped())
    GTEST_SKIP() << "the file system or the process has no mappings";
  auto const file = RandomAccessFactory::openFileRead(scratchFile(content(4 * WINDOW)));
  auto const before = PieceReader::residentBytes();
  auto const grown = [&](size_t first, size_t count, size_t size) {
    Pieces pieces;
    pieces.addMany(first, count, size, 20000);
    file->readMany(pieces.requests);
    pieces.expectRead();
    return (PieceReader::residentBytes() - before) / WINDOW;
  };
  EXPECT_EQ(grown(0, FEWEST - 1, 3), 0u);
  EXPECT_EQ(grown(0, FEWEST, PieceReader::LARGEST_PIECE + 1), 0u);
  EXPECT_EQ(grown(0, FEWEST, PieceReader::LARGEST_PIECE), 1u);
  EXPECT_EQ(grown(0, FEWEST, 1), 1u);
  // Over the edge of a window: 5 pieces before it, one across, the rest behind.
  EXPECT_EQ(grown(WINDOW * 2 - 100001, FEWEST + 6, 3), 2u);
  // A window of which a few pieces are wanted again and again.
  EXPECT_EQ(grown(0, 120, 3), 2u);
  for (size_t round = 0; round < 3; ++round)
    grown(0, FEWEST, 3);
  EXPECT_EQ((PieceReader::residentBytes() - before) / WINDOW, 2u);
}

TEST(PieceReader, GivesTheBytesOfAnyList) {
  constexpr size_t size = 3 * WINDOW + 12345;
  auto const file = RandomAccessFactory::openFileRead(scratchFile(content(size)));
  std::mt19937 random(20261122);
  auto const below = [&](size_t bound) { return std::uniform_int_distribution<size_t>(0, bound - 1)(random); };
  for (size_t round = 0; round < 60; ++round) {
    Pieces pieces;
    auto const largest = round % 3 == 0 ? size_t{40000} : size_t{60};
    for (size_t count = below(300); count > 0; --count) {
      auto const bytes = below(largest);
      // Some just before the end, others sorted as those of a region are.
      pieces.add(round % 4 == 1 ? size - bytes : round % 2 == 0 ? count * 9000 : below(size - bytes), bytes);
    }
    file->readMany(pieces.requests);
    pieces.expectRead();
  }
}

TEST(PieceReader, SeesWhatIsWrittenAndWhatIsCut) {
  auto const path = scratchFile(content(2 * WINDOW));
  auto const file = RandomAccessFactory::openFile(path), other = RandomAccessFactory::openFile(path);
  Pieces pieces;
  pieces.addMany(0, 100);
  pieces.addMany(WINDOW, 100);
  file->readMany(pieces.requests);
  pieces.expectRead();

  for (auto const & writer : {file, other}) {
    uint8_t const bytes[] = {uint8_t(writer == file), 78, 79};
    for (auto const offset : {size_t{5000}, WINDOW + 5000})
      writer->write(offset, bytes, 3);
    file->readMany(pieces.requests);
    EXPECT_EQ(std::memcmp(pieces.memory[1].get(), bytes, 3), 0);
    EXPECT_EQ(std::memcmp(pieces.memory[101].get(), bytes, 3), 0);
  }

  other->resize(WINDOW + 1);
  EXPECT_THROW(file->readMany(pieces.requests), Error);
  file->readMany(std::span(pieces.requests).first(100));
  EXPECT_EQ(file->size(), WINDOW + 1);
  other->resize(5 * WINDOW);
  pieces.addMany(4 * WINDOW, 100);
  file->readMany(pieces.requests);
  EXPECT_EQ(pieces.memory[110][0], 0);
  EXPECT_EQ(pieces.memory[210][0], 0);
}

TEST(PieceReader, LooksAtLargePartsThatAreConverted) {
  constexpr size_t x = 1000, y = 700, z = 3, header = 1; // samples that are not aligned
  auto const path = scratchFile(content(header + 2 * x * y * z));
  auto const file = RandomAccessFactory::openFileRead(path);
  auto const samples = RandomAccessFactory::extractRegion(file, header, file->size() - header);
  auto image = ImageViewFactory::fromRandomAccess(samples, {x, y, z}, DataTypeId::UINT16);
  image = ImageViewFactory::adaptDataType(ImageViewFactory::flip(ImageViewFactory::subSample(image, 2), 0),
                                          DataTypeId::FLOAT);
  auto const shape = image->shape();
  std::vector<float> values(shape[0] * shape[1] * shape[2]);
  RegionXu64 const whole(VectorXu64(3), shape);
  auto const expectRead = [&] {
    image->readRegion(whole, values.data());
    for (size_t n = 0; n < values.size(); ++n) {
      auto const sx = 2 * (shape[0] - 1 - n % shape[0]), sy = 2 * (n / shape[0] % shape[1]);
      auto const at = header + 2 * (sx + x * (sy + y * 2 * (n / shape[0] / shape[1])));
      ASSERT_EQ(values[n], byteAt(at) + 256 * byteAt(at + 1)) << "value " << n;
    }
  };
  auto const isMapped = areMapped();
  auto const before = PieceReader::bytesRead();
  expectRead();
  EXPECT_EQ(PieceReader::bytesRead() - before > sizeof(uint16_t) * values.size(), isMapped);

  auto const other = RandomAccessFactory::openFile(path);
  auto const end = content(file->size());
  other->resize(end.size() / 2);
  EXPECT_THROW(image->readRegion(whole, values.data()), Error);
  other->write(0, end.data(), end.size());
  expectRead();
}

TEST(PieceReader, KeepsToCallsWhereTheAddressSpaceIsLimited) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_AS, &before), 0);
  rlimit const limit{std::min<rlim_t>(before.rlim_cur, rlim_t{1} << 50), before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_AS, &limit), 0);
  auto const file = RandomAccessFactory::openFileRead(scratchFile(content(WINDOW)));
  auto const resident = PieceReader::residentBytes();
  Pieces pieces;
  pieces.addMany(0, 200);
  file->readMany(pieces.requests);
  ASSERT_EQ(::setrlimit(RLIMIT_AS, &before), 0);
  pieces.expectRead();
  EXPECT_EQ(PieceReader::residentBytes(), resident);
}

TEST(PieceReader, KeepsLittleInMemoryWhateverIsRead) {
  if (!areMapped())
    GTEST_SKIP() << "the file system or the process has no mappings";
  auto const path = scratchFile({});
  constexpr size_t windows = 3 * PieceReader::RESIDENT_BYTES / WINDOW;
  RandomAccessFactory::openFile(path)->resize(windows * WINDOW);
  auto const residentShared = [] {
    size_t total = 0, resident = 0, shared = 0;
    std::ifstream("/proc/self/statm") >> total >> resident >> shared;
    return shared * static_cast<size_t>(::sysconf(_SC_PAGESIZE));
  };
  auto const before = residentShared();
  auto const counted = PieceReader::residentBytes();
  {
    auto const first = RandomAccessFactory::openFileRead(path), second = RandomAccessFactory::openFileRead(path);
    for (size_t window = 0; window < windows; ++window) {
      Pieces pieces;
      pieces.addMany(window * WINDOW, FEWEST, 4, WINDOW / FEWEST);
      (window % 2 == 0 ? first : second)->readMany(pieces.requests);
      ASSERT_LE(PieceReader::residentBytes(), PieceReader::RESIDENT_BYTES);
      ASSERT_LE(residentShared(), before + PieceReader::RESIDENT_BYTES);
    }
    EXPECT_GT(PieceReader::residentBytes(), counted);
  }
  EXPECT_LE(PieceReader::residentBytes(), counted);
}

TEST(PieceReader, ReadsFromThreadsWhilePagesAreGivenBack) {
  constexpr size_t images = 6, side = 256; // 32 MiB each: together more than may be resident
  std::vector<std::shared_ptr<ImageView>> stored;
  for (size_t number = 0; number < images; ++number) {
    stored.push_back(ImageViewFactory::createOnDisk(scratchFolder(), {side, side, side}, DataTypeId::UINT16));
    for (uint64_t z = 0; z < side; ++z) {
      std::vector<uint16_t> const plane(side * side, static_cast<uint16_t>(z + number));
      stored.back()->writeRegion(RegionXu64({0, 0, z}, {side, side, 1}), plane.data());
    }
  }
  std::atomic<size_t> wrong = 0;
  onThreads(4, [&](size_t thread) {
    std::vector<uint16_t> block(8 * side * side / 4);
    for (size_t round = 0; round < 3 * images; ++round) {
      auto const number = (round + thread) % images;
      stored[number]->readRegion(RegionXu64({8 * round, 0, 0}, {8, side / 4, side}), block.data());
      for (size_t at = 0; at < block.size(); ++at)
        wrong += block[at] != at / (8 * side / 4) + number;
    }
  });
  EXPECT_EQ(wrong, 0u);
}

} // namespace
} // namespace zarnik::test
