#include "layout/ConversionPlan.h"

#include "core/Guarded.h"
#include "layout/CacheSize.h"
#include "layout/ConvertKernels.h"
#include "layout/CopyKernels.h"
#include "layout/CopyPlan.h"
#include "layout/Offsets.h"
#include "layout/ThreadPool.h"

#include <fmt/format.h>
#include <hwy/cache_control.h>

#include <algorithm>
#include <memory>
#include <new>

namespace zarnik {

using layout::LoopNest;
using layout::Overlap;

namespace {

// Values of a block that is gathered, converted and scattered: three such blocks stay in the caches next to the core.
constexpr uint64_t BLOCK_VALUES = 4096;
// Bytes of a row that is brought together on the way, on the wider side.
constexpr size_t GATHERED_BYTES = 4096;
// Lines at the beginning of a row that are fetched ahead.
constexpr int64_t HEAD_LINES = 32;
// Rows up to this size are fetched while the one before is converted, of longer ones this many bytes.
constexpr uint64_t LONGEST_AHEAD = 256 << 10;
constexpr int64_t BYTES_AHEAD = 2048;
// Rows shorter than this are not worth a call each.
constexpr uint64_t SHORTEST_ROW = 32;

size_t bytesOf(ScalarType type) {
  constexpr size_t bytes[] = {1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
  return bytes[static_cast<size_t>(type)];
}

} // namespace

ConversionPlan::ConversionPlan(std::span<uint64_t const> size, std::span<uint64_t const> sourceStrides,
                               std::span<uint64_t const> destinationStrides, ScalarType sourceType,
                               ScalarType destinationType, std::optional<LinearMap> map)
    : nest_(size, sourceStrides, destinationStrides), sourceType_(sourceType), destinationType_(destinationType),
      map_(map), sourceBytes_(bytesOf(sourceType)), destinationBytes_(bytesOf(destinationType)) {
  if (nest_.elements == 0) {
    return;
  }
  if (nest_.count == 0) {
    nest_.loops[nest_.count++] = {1, static_cast<int64_t>(sourceBytes_), static_cast<int64_t>(destinationBytes_)};
  }
  streaming_ = nest_.elements >= layout::streamingThresholdBytes() / destinationBytes_;
  for (size_t n = 1; n < nest_.count; ++n) {
    if (nest_[n].sourceStride != 0 &&
        layout::magnitude(nest_[n].sourceStride) < layout::magnitude(nest_[transposed_].sourceStride)) {
      transposed_ = n;
    }
  }
}

void ConversionPlan::run(void const * source, void * destination) const {
  if (nest_.elements == 0) {
    return;
  }
  auto const * from = layout::moved(static_cast<std::byte const *>(source), nest_.sourceOffset);
  auto * to = layout::moved(static_cast<std::byte *>(destination), nest_.destinationOffset);
  switch (nest_.overlap(from, sourceBytes_, to, destinationBytes_)) {
  case Overlap::NONE:
    runParallel(from, to);
    break;
  case Overlap::SHARED:
    runThroughTemporary(from, to);
    break;
  case Overlap::SAME:
    runBlocks(from, to);
    break; // a block is read whole before it is written
  }
}

void ConversionPlan::runThroughTemporary(std::byte const * source, std::byte * destination) const {
  uint64_t const bytes = nest_.elements * destinationBytes_;
  std::unique_ptr<std::byte[]> const temporary(new (std::nothrow) std::byte[bytes]);
  if (!temporary) {
    throw Error(message("cannot allocate {} bytes to convert between regions that share memory", bytes));
  }
  ConversionPlan toTemporary(*this);
  std::array<uint64_t, LoopNest::CAPACITY> counts;
  std::array<uint64_t, LoopNest::CAPACITY> denseStrides;
  std::array<uint64_t, LoopNest::CAPACITY> strides;
  uint64_t dense = destinationBytes_;
  for (size_t n = 0; n < nest_.count; ++n) {
    counts[n] = nest_[n].count;
    denseStrides[n] = dense;
    strides[n] = static_cast<uint64_t>(nest_[n].destinationStride);
    toTemporary.nest_.loops[n].destinationStride = static_cast<int64_t>(dense);
    dense *= nest_[n].count;
  }
  toTemporary.runParallel(source, temporary.get());
  copyStrided({counts.data(), nest_.count}, {denseStrides.data(), nest_.count}, {strides.data(), nest_.count},
              destinationBytes_, temporary.get(), destination);
}

void ConversionPlan::runParallel(std::byte const * source, std::byte * destination) const {
  size_t const parts = layout::partsFor(nest_.elements * std::max(sourceBytes_, destinationBytes_));
  if (parts < 2) {
    runSerial(source, destination);
    return;
  }
  size_t const cut = nest_.loopToCut(parts);
  LoopNest::Loop const & loop = nest_[cut];
  uint64_t const unit = loop.count < parts * 64 ? 1 : 64;
  uint64_t const step = (loop.count / unit / parts + 1) * unit;
  layout::runParts(parts, [&](size_t part) {
    uint64_t const begin = part * step;
    if (begin < loop.count) {
      ConversionPlan piece(*this);
      piece.nest_.loops[cut].count = std::min(step, loop.count - begin);
      piece.runSerial(layout::moved(source, begin * static_cast<uint64_t>(loop.sourceStride)),
                      layout::moved(destination, begin * static_cast<uint64_t>(loop.destinationStride)));
    }
  });
}

void ConversionPlan::runSerial(std::byte const * source, std::byte * destination) const {
  LoopNest::Loop const & row = nest_[0];
  bool const dense = row.destinationStride == static_cast<int64_t>(destinationBytes_);
  if (dense && transposed_ == 0 && (nest_.count == 1 || row.count >= SHORTEST_ROW)) {
    runRows(source, destination);
  } else {
    runBlocks(source, destination);
  }
}

namespace {

// Calls visit(index of the first value, count) for the pieces of a dense row of values of this size, of at most `most`
// values each, that begin with lines of the destination.
template <typename Visit>
void forEachPiece(std::byte const * destination, size_t bytes, size_t count, size_t most, Visit const & visit) {
  size_t const misaligned = reinterpret_cast<uintptr_t>(destination) % 64 / bytes;
  for (size_t first = 0; first < count;) {
    size_t const now = std::min(first == 0 ? most - misaligned : most, count - first);
    visit(first, now);
    first += now;
  }
}

} // namespace

void ConversionPlan::convertRow(std::byte const * source, std::byte * destination, size_t count, bool streaming) const {
  auto const convert = [&](std::byte const * from, std::byte * to, size_t values) {
    if (map_) {
      layout::mapValues(sourceType_, destinationType_, *map_, from, to, values);
    } else {
      layout::convertValues(sourceType_, destinationType_, from, to, values);
    }
  };
  if (!streaming) {
    convert(source, destination, count);
    return;
  }
  alignas(64) std::byte buffer[layout::CONVERTED_AT_ONCE * 8];
  forEachPiece(destination, destinationBytes_, count, sizeof buffer / destinationBytes_, [&](size_t first, size_t now) {
    convert(source + first * sourceBytes_, buffer, now);
    layout::streamValues(destination + first * destinationBytes_, buffer, now * destinationBytes_);
  });
}

namespace {

// Calls visit(source, destination, index) for each round of the loops from `first` on, which advance by `steps`.
template <typename Visit> void walk(LoopNest const & nest, size_t first,
                                    std::array<uint64_t, LoopNest::CAPACITY> const & steps, std::byte const * source,
                                    std::byte * destination, Visit const & visit) {
  std::array<uint64_t, LoopNest::CAPACITY> index;
  std::fill_n(index.begin(), nest.count, 0);
  for (;;) {
    auto const * from = source;
    auto * to = destination;
    for (size_t n = first; n < nest.count; ++n) {
      from = layout::moved(from, index[n] * static_cast<uint64_t>(nest[n].sourceStride));
      to = layout::moved(to, index[n] * static_cast<uint64_t>(nest[n].destinationStride));
    }
    visit(from, to, index);
    size_t n = first;
    for (; n < nest.count; ++n) {
      index[n] += steps[n];
      if (index[n] < nest[n].count) {
        break;
      }
      index[n] = 0;
    }
    if (n == nest.count) {
      return;
    }
  }
}

} // namespace

void ConversionPlan::runRows(std::byte const * source, std::byte * destination) const {
  std::array<uint64_t, LoopNest::CAPACITY> steps;
  std::fill_n(steps.begin(), nest_.count, 1);
  bool const streaming = streaming_ && nest_[0].count * destinationBytes_ >= 512;
  bool const dense = nest_[0].sourceStride == static_cast<int64_t>(sourceBytes_);
  if (auto const kernel = layout::spreadKernel(sourceType_, destinationType_, nest_[0].sourceStride)) {
    walk(nest_, 1, steps, source, destination,
         [&](std::byte const * from, std::byte * to, auto const &) { spreadRow(kernel, from, to, streaming); });
    if (streaming) {
      layout::flushStreams();
    }
    return;
  }
  // The processor's own prefetching starts anew with each row: without help the first lines of each are waited for.
  int64_t const toNext = nest_.count > 1 ? nest_[1].sourceStride : 0;
  int64_t const line = nest_[0].sourceStride < 0 ? -64 : 64;
  int64_t const lines =
      std::min<int64_t>(HEAD_LINES, static_cast<int64_t>(layout::reach(nest_[0].count, nest_[0].sourceStride)) / line);
  walk(nest_, 1, steps, source, destination, [&](std::byte const * from, std::byte * to, auto const &) {
    for (int64_t n = 0; toNext != 0 && n < lines; ++n) {
      hwy::Prefetch(layout::moved(from, static_cast<uint64_t>(toNext + n * line)));
    }
    if (dense) {
      convertRow(from, to, nest_[0].count, streaming);
    } else {
      gatherRow(from, to, streaming);
    }
  });
  if (streaming) {
    layout::flushStreams();
  }
}

// Rows that a kernel takes from their places, converts and writes at once, while it has what comes next fetched on both
// sides.
void ConversionPlan::spreadRow(layout::SpreadKernel kernel, std::byte const * source, std::byte * destination,
                               bool streaming) const {
  LoopNest::Loop const & row = nest_[0];
  auto const map = map_.value_or(layout::IDENTITY);
  bool const isLong =
      row.count * std::max(layout::magnitude(row.sourceStride), uint64_t{destinationBytes_}) > LONGEST_AHEAD;
  bool const toNext = nest_.count > 1 && !isLong;
  int64_t const sourceAhead = toNext ? nest_[1].sourceStride : row.sourceStride < 0 ? -BYTES_AHEAD : BYTES_AHEAD;
  int64_t const destinationAhead = toNext ? nest_[1].destinationStride : BYTES_AHEAD;
  if (!streaming) {
    kernel(map, {source, row.count, sourceAhead, destinationAhead}, destination);
    return;
  }
  alignas(64) std::byte buffer[layout::CONVERTED_AT_ONCE * 8];
  size_t const most = sizeof buffer / destinationBytes_;
  forEachPiece(destination, destinationBytes_, row.count, most, [&](size_t first, size_t now) {
    auto const * const from = layout::moved(source, first * static_cast<uint64_t>(row.sourceStride));
    kernel(map, {from, now, sourceAhead, 0}, buffer);
    layout::streamValues(destination + first * destinationBytes_, buffer, now * destinationBytes_);
  });
}

// What the source has apart, or the other way round, is brought together in the cache next to the core, some values at
// a time.
void ConversionPlan::gatherRow(std::byte const * source, std::byte * destination, bool streaming) const {
  alignas(64) std::byte gathered[GATHERED_BYTES];
  int64_t const stride = nest_[0].sourceStride;
  uint64_t const most = GATHERED_BYTES / std::max(sourceBytes_, destinationBytes_);
  forEachPiece(destination, destinationBytes_, nest_[0].count, most, [&](size_t first, size_t now) {
    layout::CopyBlock const block{.elementBytes = sourceBytes_,
                                  .count0 = now,
                                  .sourceStride0 = stride,
                                  .destinationStride0 = static_cast<int64_t>(sourceBytes_),
                                  .count1 = 1,
                                  .sourceStride1 = 0,
                                  .destinationStride1 = 0,
                                  .streaming = false};
    auto const * from = layout::moved(source, first * static_cast<uint64_t>(stride));
    layout::selectKernel(block, false)(block, from, gathered);
    convertRow(gathered, destination + first * destinationBytes_, now, streaming);
  });
}

// Blocks of a few thousand values are brought together, converted, and taken to their places: both ways are strided
// copies, which know how to move through transposed and interleaved memory.
void ConversionPlan::runBlocks(std::byte const * source, std::byte * destination) const {
  std::array<uint64_t, LoopNest::CAPACITY> extents;
  std::fill_n(extents.begin(), nest_.count, 1);
  uint64_t room = BLOCK_VALUES;
  auto const extend = [&](size_t n, uint64_t most) {
    extents[n] = std::min({nest_[n].count, std::max<uint64_t>(room, 1), most});
    room /= extents[n];
  };
  if (transposed_ != 0) {
    extend(0, 64);
    extend(transposed_, BLOCK_VALUES);
  }
  for (size_t n = 0; n < nest_.count && room > 1; ++n) {
    if (extents[n] == 1) {
      extend(n, BLOCK_VALUES);
    }
  }
  alignas(64) std::byte gathered[BLOCK_VALUES * 8];
  alignas(64) std::byte converted[BLOCK_VALUES * 8];
  walk(nest_, 0, extents, source, destination, [&](std::byte const * from, std::byte * to, auto const & index) {
    std::array<uint64_t, LoopNest::CAPACITY> counts;
    std::array<uint64_t, LoopNest::CAPACITY> sourceStrides, sourceDense, destinationDense, destinationStrides;
    uint64_t values = 1;
    size_t rank = 0;
    for (size_t n = 0; n < nest_.count; ++n) {
      uint64_t const extent = std::min(extents[n], nest_[n].count - index[n]);
      if (extent > 1) {
        counts[rank] = extent;
        sourceStrides[rank] = static_cast<uint64_t>(nest_[n].sourceStride);
        sourceDense[rank] = values * sourceBytes_;
        destinationDense[rank] = values * destinationBytes_;
        destinationStrides[rank] = static_cast<uint64_t>(nest_[n].destinationStride);
        values *= extent;
        ++rank;
      }
    }
    std::span const size(counts.data(), rank);
    copyStrided(size, {sourceStrides.data(), rank}, {sourceDense.data(), rank}, sourceBytes_, from, gathered);
    convertRow(gathered, converted, values, false);
    copyStrided(size, {destinationDense.data(), rank}, {destinationStrides.data(), rank}, destinationBytes_, converted,
                to);
  });
}

} // namespace zarnik
