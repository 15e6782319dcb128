#include "layout/LoopNest.h"

#include "core/Guarded.h"
#include "layout/Offsets.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace zarnik::layout {

LoopNest::LoopNest(std::span<uint64_t const> size, std::span<uint64_t const> sourceStrides,
                   std::span<uint64_t const> destinationStrides) {
  if (size.size() != sourceStrides.size() || size.size() != destinationStrides.size() || size.size() > CAPACITY) {
    throw InvalidArgument(message("a region of {} dimensions, with {} source strides and {} destination strides, "
                                  "must have as many of each, at most {}",
                                  size.size(), sourceStrides.size(), destinationStrides.size(), CAPACITY));
  }
  if (std::find(size.begin(), size.end(), uint64_t{0}) != size.end()) {
    return;
  }
  // A double is exact enough to tell a product that fits from one that wraps, and spares a division per dimension.
  double product = 1;
  elements = 1;
  for (size_t axis = 0; axis < size.size(); ++axis) {
    product *= static_cast<double>(size[axis]);
    elements *= size[axis];
  }
  if (product > 9.2e18) {
    throw InvalidArgument(message("a region of {} elements is above 2^63 elements", fmt::join(size, " x ")));
  }
  for (size_t axis = 0; axis < size.size(); ++axis) {
    if (size[axis] > 1) {
      add(size[axis], sourceStrides[axis], destinationStrides[axis], axis);
    }
  }
  merge();
}

void LoopNest::add(uint64_t extent, uint64_t sourceStride, uint64_t destinationStride, size_t axis) {
  if (destinationStride == 0) {
    throw InvalidArgument(
        message("destination stride 0 on axis {} of {} elements: only a source stride may be 0", axis, extent));
  }
  Loop loop{extent, static_cast<int64_t>(sourceStride), static_cast<int64_t>(destinationStride)};
  if (loop.destinationStride < 0) {
    sourceOffset += reach(extent, loop.sourceStride);
    destinationOffset += reach(extent, loop.destinationStride);
    loop.sourceStride = negated(loop.sourceStride);
    loop.destinationStride = negated(loop.destinationStride);
  }
  size_t place = count++;
  for (; place > 0; --place) {
    Loop const & inner = loops[place - 1];
    if (inner.destinationStride < loop.destinationStride ||
        (inner.destinationStride == loop.destinationStride &&
         magnitude(inner.sourceStride) <= magnitude(loop.sourceStride))) {
      break;
    }
    loops[place] = inner;
  }
  loops[place] = loop;
}

void LoopNest::merge() {
  size_t kept = 0;
  for (size_t next = 0; next < count; ++next) {
    Loop const loop = loops[next];
    if (kept > 0) {
      Loop & inner = loops[kept - 1];
      if (static_cast<uint64_t>(loop.sourceStride) == inner.count * static_cast<uint64_t>(inner.sourceStride) &&
          static_cast<uint64_t>(loop.destinationStride) ==
              inner.count * static_cast<uint64_t>(inner.destinationStride)) {
        inner.count *= loop.count;
        continue;
      }
    }
    loops[kept++] = loop;
  }
  count = kept;
}

void LoopNest::reverse(size_t n) {
  Loop & loop = loops[n];
  sourceOffset += reach(loop.count, loop.sourceStride);
  destinationOffset += reach(loop.count, loop.destinationStride);
  loop.sourceStride = negated(loop.sourceStride);
  loop.destinationStride = negated(loop.destinationStride);
}

size_t LoopNest::loopToCut(size_t parts) const {
  size_t farthest = 0;
  for (size_t n = 1; n < count; ++n) {
    farthest = magnitude(loops[n].destinationStride) > magnitude(loops[farthest].destinationStride) ? n : farthest;
  }
  size_t longest = farthest;
  for (size_t n = 0; n < count; ++n) {
    longest = loops[n].count > loops[longest].count ? n : longest;
  }
  return loops[farthest].count < parts ? longest : farthest;
}

Overlap LoopNest::overlap(std::byte const * source, size_t sourceBytes, std::byte const * destination,
                          size_t destinationBytes) const {
  auto const from = reinterpret_cast<uintptr_t>(source);
  auto const to = reinterpret_cast<uintptr_t>(destination);
  uintptr_t fromLow = from;
  uintptr_t fromHigh = from + sourceBytes;
  uintptr_t toLow = to;
  uintptr_t toHigh = to + destinationBytes;
  bool sameStrides = sourceBytes == destinationBytes;
  for (size_t n = 0; n < count; ++n) {
    Loop const & loop = loops[n];
    (loop.sourceStride < 0 ? fromLow : fromHigh) += reach(loop.count, loop.sourceStride);
    (loop.destinationStride < 0 ? toLow : toHigh) += reach(loop.count, loop.destinationStride);
    sameStrides = sameStrides && loop.sourceStride == loop.destinationStride;
  }
  if (fromHigh <= toLow || toHigh <= fromLow) {
    return Overlap::NONE;
  }
  if (sameStrides && from == to) {
    return Overlap::SAME;
  }
  // Interleaved regions, such as two channels of the same pixels: their distance differs from every step that either
  // can make.
  uint64_t step = 0;
  for (size_t n = 0; n < count; ++n) {
    step = std::gcd(step, std::gcd(magnitude(loops[n].sourceStride), magnitude(loops[n].destinationStride)));
  }
  if (step == 0) {
    return Overlap::SHARED;
  }
  uint64_t const ahead = to > from ? (to - from) % step : (step - (from - to) % step) % step;
  return ahead < sourceBytes || step - ahead < destinationBytes ? Overlap::SHARED : Overlap::NONE;
}

} // namespace zarnik::layout
