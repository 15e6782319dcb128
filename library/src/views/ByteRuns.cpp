#include "views/ByteRuns.h"

#include "access/FileAccess.h"
#include "access/Innermost.h"
#include "access/RegionAccess.h"
#include "core/FirstError.h"
#include "layout/ThreadPool.h"
#include "views/BlockWalk.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <numeric>
#include <vector>

namespace zarnik {
namespace {

constexpr uint64_t BLOCK_BYTES = uint64_t{1} << 20;
// Of a file, blocks that stay in the cache next to the core until they are converted.
constexpr uint64_t FILE_BLOCK_BYTES = uint64_t{1} << 18;
// Runs of a file from this size on are converted where the system keeps them.
constexpr uint64_t LOOK_BYTES = uint64_t{1} << 15;
// A run that is read together with what lies between its parts has at most this many times the bytes that are needed;
// at most twice as many where the parts are far apart.
constexpr uint64_t WASTE = 8;
constexpr uint64_t NEAR_BYTES = 4096;
// Small pieces of a file cost no call each, see PieceReader: about as much as copying this many bytes.
constexpr uint64_t NEAR_PIECES_BYTES = 512;
// From this size on, a request of its own costs nothing.
constexpr uint64_t LARGE_RUN_BYTES = uint64_t{1} << 18;
constexpr size_t REQUESTS_AT_ONCE = size_t{1} << 16;

std::byte * moved(void * memory, uint64_t distance) {
  return static_cast<std::byte *>(memory) + static_cast<int64_t>(distance);
}
std::byte const * moved(void const * memory, uint64_t distance) {
  return static_cast<std::byte const *>(memory) + static_cast<int64_t>(distance);
}

/// A region in the order of the accessor's bytes: the first axis is the one whose neighbours lie closest.
struct Walk {
  /// \param wholeSamples whether all components are moved, though the region may have only some of them
  Walk(Indexer const & indexer, SampleRegion const & region, SampleStrides const & memory, bool wholeSamples);

  size_t rank() const { return size.size(); }
  /// Axes from the first on along which elements follow each other without a gap.
  size_t contiguousAxes() const;
  /// Axes from the first on that are read as one run.
  /// \param isFile whether small pieces cost next to nothing
  size_t mergedAxes(bool isFile) const;
  /// Axes from the first on along which elements follow each other in the memory, too.
  size_t matchingAxes() const;
  /// The bytes from the first to the last element, the axes below `axes` having these sizes.
  uint64_t span(VectorXu64 const & sizes, size_t axes) const;

  ComponentFormat format;
  uint64_t offset; ///< of the first element
  uint64_t elementBytes;
  VectorXu64 size;
  VectorXu64 strides; ///< in the accessor
  SampleStrides memory;
};

Walk::Walk(Indexer const & indexer, SampleRegion const & region, SampleStrides const & given, bool wholeSamples)
    : format(indexer.dtype()), offset(wholeSamples ? 0 : region.firstComponent * format.bytes),
      elementBytes((wholeSamples ? format.count : region.componentCount) * format.bytes), memory{
                                                                                              VectorXu64(),
                                                                                              given.componentStride} {
  std::vector<size_t> order;
  for (size_t axis = 0; axis < region.size.size(); ++axis) {
    offset += region.origin[axis] * indexer.byteStride()[axis];
    if (region.size[axis] > 1)
      order.push_back(axis);
  }
  std::ranges::sort(order, {}, [&](size_t axis) { return indexer.byteStride()[axis]; });
  // At least one axis, so that there are elements.
  auto const rank = std::max<size_t>(order.size(), 1);
  size = VectorXu64::createUniform(rank, 1);
  strides = VectorXu64::createUniform(rank, elementBytes);
  memory.byteStrides = VectorXu64::createUniform(rank, elementBytes);
  for (size_t axis = 0; axis < order.size(); ++axis) {
    size[axis] = region.size[order[axis]];
    strides[axis] = indexer.byteStride()[order[axis]] * region.step[order[axis]];
    memory.byteStrides[axis] = given.byteStrides[order[axis]];
  }
}

size_t Walk::contiguousAxes() const {
  size_t axis = 0;
  for (auto run = elementBytes; axis < rank() && strides[axis] == run; ++axis)
    run *= size[axis];
  return axis;
}

size_t Walk::mergedAxes(bool isFile) const {
  auto needed = elementBytes, run = elementBytes;
  size_t axis = 0;
  for (; axis < rank(); ++axis) {
    bool const isPiece = isFile && run <= platform::PieceReader::LARGEST_PIECE;
    bool const isNear = strides[axis] - run <= (isPiece ? NEAR_PIECES_BYTES : NEAR_BYTES);
    needed *= size[axis];
    run += (size[axis] - 1) * strides[axis];
    if (run / (isNear ? WASTE : 2) > needed)
      break;
  }
  return axis;
}

size_t Walk::matchingAxes() const {
  size_t axis = 0;
  for (auto run = elementBytes; axis < rank() && strides[axis] == run && memory.byteStrides[axis] == run; ++axis)
    run *= size[axis];
  return axis;
}

uint64_t Walk::span(VectorXu64 const & sizes, size_t axes) const {
  auto bytes = elementBytes;
  for (size_t axis = 0; axis < axes; ++axis)
    bytes += (sizes[axis] - 1) * strides[axis];
  return bytes;
}

/// Calls visit(offset from the first run in the accessor, and in the memory) for the runs of a block, in order.
/// \param axes the axes that are part of a run
template <typename Visit> void forEachRun(Walk const & walk, VectorXu64 const & sizes, size_t axes,
                                          VectorXu64 const & memoryStrides, Visit const & visit) {
  VectorXu64 index(walk.rank());
  uint64_t offset = 0, place = 0;
  while (true) {
    visit(offset, place);
    size_t axis = axes;
    for (; axis < walk.rank(); ++axis) {
      offset += walk.strides[axis];
      place += memoryStrides[axis];
      if (++index[axis] < sizes[axis])
        break;
      offset -= sizes[axis] * walk.strides[axis];
      place -= sizes[axis] * memoryStrides[axis];
      index[axis] = 0;
    }
    if (axis == walk.rank())
      return;
  }
}

/// Collects what is to be read, and asks for it at once.
class Requests {
public:
  explicit Requests(RandomAccess & access) : access_(access) {}

  void add(uint64_t offset, void * destination, uint64_t size) {
    requests_.push_back({offset, destination, size});
    if (requests_.size() == REQUESTS_AT_ONCE)
      read();
  }

  void read() {
    if (!requests_.empty())
      access_.readMany(requests_);
    requests_.clear();
  }

private:
  RandomAccess & access_;
  std::vector<RandomAccess::ReadRequest> requests_;
};

void writeWhole(RandomAccess & access, uint64_t offset, void const * source, uint64_t size) {
  if (auto const count = access.write(offset, source, size); count != size)
    throw Error(
        fmt::format("{} of {} bytes at offset {} could be written of {}", count, size, offset, access.toString()));
}

/// Parts of a region that fit a block of memory, in which each run stands as it is in the accessor.
struct Blocks {
  /// \param merged the axes that are part of a run
  /// \param axes   the axes that a block has more than one element along, at most
  Blocks(Walk const & walk, size_t merged, size_t axes, uint64_t blockBytes)
      : extents(VectorXu64::createUniform(walk.rank(), 1)),
        strides(VectorXu64::createUniform(walk.rank(), walk.elementBytes)) {
    auto bytes = walk.elementBytes;
    size_t axis = 0;
    for (bool isWhole = true; isWhole && axis < axes; ++axis) {
      bool const inRun = axis < merged;
      auto const stride = inRun ? walk.strides[axis] : bytes;
      auto const room = (blockBytes - std::min(blockBytes, bytes)) / stride + 1;
      extents[axis] = std::min(walk.size[axis], room);
      strides[axis] = stride;
      bytes += (extents[axis] - 1) * stride;
      isWhole = extents[axis] == walk.size[axis];
    }
    size = bytes;
  }

  VectorXu64 extents;
  VectorXu64 strides;
  uint64_t size = 0;
};

struct Block {
  Block(Walk const & walk, VectorXu64 const & first, SampleStrides const & memory) : offset(walk.offset), place(0) {
    for (size_t axis = 0; axis < walk.rank(); ++axis) {
      offset += first[axis] * walk.strides[axis];
      place += first[axis] * memory.byteStrides[axis];
    }
  }

  uint64_t offset; ///< in the accessor
  uint64_t place;  ///< in the caller's memory
};

SampleRegion wholeBlock(VectorXu64 const & size, uint64_t firstComponent, uint64_t componentCount) {
  return {VectorXu64(size.size()), size, VectorXu64::createUniform(size.size(), 1), firstComponent, componentCount};
}

/// Whether runs can be moved between the accessor and the caller's memory as they are.
bool isDirect(Walk const & walk, ValueConversion const & conversion, uint64_t componentCount, size_t matching,
              size_t wanted) {
  bool const isTogether = componentCount == 1 || walk.memory.componentStride == walk.format.bytes;
  return conversion.isEmpty() && isTogether &&
         (matching == wanted || walk.span(walk.size, matching) >= LARGE_RUN_BYTES);
}

/// Where an accessor's bytes are in a file that it reads.
struct FilePart {
  explicit FilePart(RandomAccess & access) {
    auto * current = &access;
    for (; auto const * const region = exactly<RegionAccess>(*current); current = region->source().get())
      offset += region->offset();
    file = exactly<FileAccess>(*current);
  }

  FileAccess * file = nullptr; ///< null if it reads something else
  uint64_t offset = 0;
};

/// What is read, and what becomes of it.
struct Reading {
  RandomAccess & access;
  FilePart part;
  DataType type;
  uint64_t componentCount;
  ValueConversion const & conversion;
  FirstError error = {}; ///< of the threads that read parts of it
};

void readBlocks(Reading const & reading, Walk const & walk, size_t merged, Blocks const & blocks, Scratch & scratch,
                void * destination) {
  Requests requests(reading.access);
  forEachBlock(
      walk.size, blocks.extents, VectorXu64(walk.rank()), [&](VectorXu64 const & first, VectorXu64 const & size) {
        if (reading.error.happened())
          throw Error("another part of the region could not be read");
        Block const block(walk, first, walk.memory);
        auto const run = walk.span(size, merged);
        auto const look = reading.part.file != nullptr && run >= LOOK_BYTES && walk.span(size, walk.rank()) == run
                              ? reading.part.file->look(reading.part.offset + block.offset, run)
                              : std::nullopt;
        auto const * source = look ? look->data() : nullptr;
        if (source == nullptr) {
          auto * const memory = scratch.atLeast(blocks.size);
          forEachRun(walk, size, merged, blocks.strides, [&](uint64_t offset, uint64_t place) {
            requests.add(block.offset + offset, memory + place, run);
          });
          requests.read();
          source = memory;
        }
        readMemory(Indexer(size, reading.type, blocks.strides), source, wholeBlock(size, 0, reading.componentCount),
                   reading.conversion, moved(destination, block.place), walk.memory);
      });
}

/// Reads slices of a file by threads that each have a block of their own. Slices are long: threads that touch the same
/// large page of new memory would both clear it.
void readSlices(Reading & reading, Walk const & walk, size_t merged, void * destination) {
  auto const last = walk.rank() - 1;
  auto const elements = std::accumulate(walk.size.begin(), walk.size.end(), uint64_t{1}, std::multiplies());
  auto const valueBytes =
      reading.conversion.isEmpty()
          ? walk.format.bytes
          : std::max<uint64_t>(walk.format.bytes, byteCountOf(reading.conversion.steps().back().type));
  auto const bytes = elements * reading.componentCount * valueBytes;
  auto const parts = layout::partsFor(bytes);
  auto const extent = (walk.size[last] - 1) / parts + 1;
  layout::runParts(parts, [&](size_t part) {
    auto const first = part * extent;
    if (first >= walk.size[last])
      return;
    reading.error.guard([&] {
      Walk slice(walk);
      slice.size[last] = std::min(extent, walk.size[last] - first);
      slice.offset += first * walk.strides[last];
      Scratch scratch;
      // Short runs are collected until they fill a block.
      auto const axes = slice.span(slice.size, merged) < LOOK_BYTES ? slice.rank() : merged;
      readBlocks(reading, slice, merged, Blocks(slice, merged, axes, FILE_BLOCK_BYTES), scratch,
                 moved(destination, first * walk.memory.byteStrides[last]));
    });
  });
  reading.error.rethrow();
}

} // namespace

void readRuns(RandomAccess & access, Indexer const & indexer, SampleRegion const & region,
              ValueConversion const & conversion, void * destination, SampleStrides const & strides) {
  Walk const walk(indexer, region, strides, false);
  FilePart const part(access);
  auto const merged = walk.mergedAxes(part.file != nullptr), matching = walk.matchingAxes();
  if (isDirect(walk, conversion, region.componentCount, matching, merged)) {
    Requests requests(access);
    auto const run = walk.span(walk.size, matching);
    forEachRun(walk, walk.size, matching, walk.memory.byteStrides, [&](uint64_t offset, uint64_t place) {
      requests.add(walk.offset + offset, moved(destination, place), run);
    });
    return requests.read();
  }
  Reading reading{access, part, indexer.dtype(), region.componentCount, conversion};
  if (part.file != nullptr)
    return readSlices(reading, walk, merged, destination);
  Scratch scratch;
  readBlocks(reading, walk, merged, Blocks(walk, merged, walk.rank(), BLOCK_BYTES), scratch, destination);
}

bool readsToWrite(RandomAccess & access, DataType type, SampleRegion const & region) {
  return region.componentCount != ComponentFormat(type).count && access.support(RandomAccessCapability::READ);
}

void writeRuns(RandomAccess & access, Indexer const & indexer, SampleRegion const & region,
               ValueConversion const & conversion, void const * source, SampleStrides const & strides) {
  bool const readsFirst = readsToWrite(access, indexer.dtype(), region);
  Walk const walk(indexer, region, strides, readsFirst);
  auto const contiguous = walk.contiguousAxes(), matching = walk.matchingAxes();
  if (!readsFirst && isDirect(walk, conversion, region.componentCount, matching, contiguous)) {
    auto const run = walk.span(walk.size, matching);
    forEachRun(walk, walk.size, matching, walk.memory.byteStrides, [&](uint64_t offset, uint64_t place) {
      writeWhole(access, walk.offset + offset, moved(source, place), run);
    });
    return;
  }
  Blocks const blocks(walk, contiguous, walk.rank(), BLOCK_BYTES);
  auto const scratch = allocateBlock(blocks.size);
  Requests requests(access);
  forEachBlock(
      walk.size, blocks.extents, VectorXu64(walk.rank()), [&](VectorXu64 const & first, VectorXu64 const & size) {
        Block const block(walk, first, walk.memory);
        auto const run = walk.span(size, contiguous);
        auto const forRuns = [&](auto const & visit) { forEachRun(walk, size, contiguous, blocks.strides, visit); };
        if (readsFirst) {
          forRuns([&](uint64_t offset, uint64_t place) {
            requests.add(block.offset + offset, scratch.get() + place, run);
          });
          requests.read();
        }
        writeMemory(Indexer(size, indexer.dtype(), blocks.strides), scratch.get(),
                    wholeBlock(size, readsFirst ? region.firstComponent : 0, region.componentCount), conversion,
                    moved(source, block.place), walk.memory);
        forRuns([&](uint64_t offset, uint64_t place) {
          writeWhole(access, block.offset + offset, scratch.get() + place, run);
        });
      });
}

} // namespace zarnik
