#include "zarnik/layout/CopyPlan.h"

#include "layout/CacheSize.h"
#include "layout/CopyKernels.h"
#include "layout/ThreadPool.h"
#include "zarnik/core/Error.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>
#include <utility>

namespace zarnik {

namespace {

uint64_t magnitude(int64_t value) {
  auto const bits = static_cast<uint64_t>(value);
  return value < 0 ? uint64_t{0} - bits : bits;
}

// Distance covered by a loop, modulo 2^64: strides may be anything, so nothing here may overflow a signed type.
uint64_t reach(uint64_t count, int64_t stride) { return (count - 1) * static_cast<uint64_t>(stride); }

int64_t negated(int64_t value) { return static_cast<int64_t>(uint64_t{0} - static_cast<uint64_t>(value)); }

template <typename Byte> Byte * moved(Byte * pointer, uint64_t distance) {
  return pointer + static_cast<int64_t>(distance);
}

[[noreturn]] void refuseRanks(size_t size, size_t source, size_t destination) {
  throw InvalidArgument(fmt::format("a strided copy of {} dimensions, with {} source strides and {} destination "
                                    "strides, must have as many of each, at most {}",
                                    size, source, destination, CopyPlan::maximumRank));
}

} // namespace

CopyPlan::CopyPlan(std::span<uint64_t const> size, std::span<uint64_t const> sourceStrides,
                   std::span<uint64_t const> destinationStrides, size_t elementBytes)
    : elementBytes_(elementBytes) {
  if (size.size() != sourceStrides.size() || size.size() != destinationStrides.size() || size.size() > maximumRank) {
    refuseRanks(size.size(), sourceStrides.size(), destinationStrides.size());
  }
  if (elementBytes == 0) {
    throw InvalidArgument("elements of 0 bytes cannot be copied");
  }
  if (std::find(size.begin(), size.end(), uint64_t{0}) != size.end()) {
    return;
  }
  // A double is exact enough to tell a product that fits from one that wraps, and spares a division per dimension.
  auto bytes = static_cast<double>(elementBytes);
  byteCount_ = elementBytes;
  for (size_t axis = 0; axis < size.size(); ++axis) {
    bytes *= static_cast<double>(size[axis]);
    byteCount_ *= size[axis];
  }
  if (bytes > 9.2e18) {
    throw InvalidArgument(
        fmt::format("a region of {} elements of {} bytes is above 2^63 bytes", fmt::join(size, " x "), elementBytes));
  }
  for (size_t axis = 0; axis < size.size(); ++axis) {
    if (size[axis] > 1) {
      addLoop(size[axis], sourceStrides[axis], destinationStrides[axis], axis);
    }
  }
  mergeLoops();
  streaming_ = byteCount_ >= layout::streamingThresholdBytes();
  chooseKernel();
}

void CopyPlan::addLoop(uint64_t count, uint64_t sourceStride, uint64_t destinationStride, size_t axis) {
  if (destinationStride == 0) {
    throw InvalidArgument(
        fmt::format("destination stride 0 on axis {} of {} elements: only a source stride may be 0", axis, count));
  }
  Loop loop{count, static_cast<int64_t>(sourceStride), static_cast<int64_t>(destinationStride)};
  if (loop.destinationStride < 0) {
    sourceOffset_ += reach(count, loop.sourceStride);
    destinationOffset_ += reach(count, loop.destinationStride);
    loop.sourceStride = negated(loop.sourceStride);
    loop.destinationStride = negated(loop.destinationStride);
  }
  size_t place = loopCount_++;
  for (; place > 0; --place) {
    Loop const & inner = loops_[place - 1];
    if (inner.destinationStride < loop.destinationStride ||
        (inner.destinationStride == loop.destinationStride &&
         magnitude(inner.sourceStride) <= magnitude(loop.sourceStride))) {
      break;
    }
    loops_[place] = inner;
  }
  loops_[place] = loop;
}

void CopyPlan::mergeLoops() {
  size_t kept = 0;
  for (size_t next = 0; next < loopCount_; ++next) {
    Loop const loop = loops_[next];
    auto const element = static_cast<int64_t>(elementBytes_);
    if (kept == 0 && loop.sourceStride == element && loop.destinationStride == element) {
      elementBytes_ *= loop.count;
      continue;
    }
    if (kept > 0) {
      Loop & inner = loops_[kept - 1];
      if (static_cast<uint64_t>(loop.sourceStride) == inner.count * static_cast<uint64_t>(inner.sourceStride) &&
          static_cast<uint64_t>(loop.destinationStride) ==
              inner.count * static_cast<uint64_t>(inner.destinationStride)) {
        inner.count *= loop.count;
        continue;
      }
    }
    loops_[kept++] = loop;
  }
  loopCount_ = kept;
}

void CopyPlan::chooseKernel() {
  if (loopCount_ == 0) {
    return;
  }
  // The loop along which the source moves least. A source that does not move along a loop at all gains nothing from it.
  size_t fastest = 0;
  for (size_t n = 1; n < loopCount_; ++n) {
    if (loops_[n].sourceStride != 0 && magnitude(loops_[n].sourceStride) < magnitude(loops_[fastest].sourceStride)) {
      fastest = n;
    }
  }
  if (fastest > 1) {
    std::rotate(loops_.begin() + 1, loops_.begin() + static_cast<ptrdiff_t>(fastest),
                loops_.begin() + static_cast<ptrdiff_t>(fastest) + 1);
  }
  if (fastest > 0 && loops_[1].sourceStride < 0) {
    Loop & loop = loops_[1];
    sourceOffset_ += reach(loop.count, loop.sourceStride);
    destinationOffset_ += reach(loop.count, loop.destinationStride);
    loop.sourceStride = negated(loop.sourceStride);
    loop.destinationStride = negated(loop.destinationStride);
  }
  bool const plane = loopCount_ > 1;
  kernel_ = layout::selectKernel({.elementBytes = elementBytes_,
                                  .count0 = loops_[0].count,
                                  .sourceStride0 = loops_[0].sourceStride,
                                  .destinationStride0 = loops_[0].destinationStride,
                                  .count1 = plane ? loops_[1].count : 1,
                                  .sourceStride1 = plane ? loops_[1].sourceStride : 0,
                                  .destinationStride1 = plane ? loops_[1].destinationStride : 0,
                                  .streaming = streaming_},
                                 fastest > 0);
}

void CopyPlan::run(void const * source, void * destination) const {
  if (byteCount_ == 0) {
    return;
  }
  auto const * from = moved(static_cast<std::byte const *>(source), sourceOffset_);
  auto * to = moved(static_cast<std::byte *>(destination), destinationOffset_);
  switch (loopCount_ == 0 ? Overlap::None : overlap(from, to)) {
  case Overlap::None:
    runSerial(from, to);
    break;
  case Overlap::Shared:
    runThroughTemporary(from, to);
    break;
  case Overlap::Same:
    break;
  }
}

CopyPlan::Overlap CopyPlan::overlap(std::byte const * source, std::byte const * destination) const {
  auto const from = reinterpret_cast<uintptr_t>(source);
  auto const to = reinterpret_cast<uintptr_t>(destination);
  uintptr_t fromLow = from;
  uintptr_t fromHigh = from + elementBytes_;
  uintptr_t toLow = to;
  uintptr_t toHigh = to + elementBytes_;
  bool sameStrides = true;
  for (size_t n = 0; n < loopCount_; ++n) {
    Loop const & loop = loops_[n];
    (loop.sourceStride < 0 ? fromLow : fromHigh) += reach(loop.count, loop.sourceStride);
    (loop.destinationStride < 0 ? toLow : toHigh) += reach(loop.count, loop.destinationStride);
    sameStrides = sameStrides && loop.sourceStride == loop.destinationStride;
  }
  if (fromHigh <= toLow || toHigh <= fromLow) {
    return Overlap::None;
  }
  if (sameStrides && from == to) {
    return Overlap::Same;
  }
  // Interleaved regions, such as two channels of the same pixels: their distance differs from every step that either
  // can make.
  uint64_t step = 0;
  for (size_t n = 0; n < loopCount_; ++n) {
    step = std::gcd(step, std::gcd(magnitude(loops_[n].sourceStride), magnitude(loops_[n].destinationStride)));
  }
  uint64_t const distance = (to > from ? to - from : from - to) % step;
  return distance < elementBytes_ || step - distance < elementBytes_ ? Overlap::Shared : Overlap::None;
}

void CopyPlan::runThroughTemporary(std::byte const * source, std::byte * destination) const {
  std::unique_ptr<std::byte[]> const temporary(new (std::nothrow) std::byte[byteCount_]);
  if (!temporary) {
    throw Error(fmt::format("cannot allocate {} bytes to copy between regions that share memory", byteCount_));
  }
  std::array<uint64_t, maximumRank> counts;
  std::array<uint64_t, maximumRank> sourceStrides;
  std::array<uint64_t, maximumRank> denseStrides;
  std::array<uint64_t, maximumRank> destinationStrides;
  uint64_t dense = elementBytes_;
  for (size_t n = 0; n < loopCount_; ++n) {
    counts[n] = loops_[n].count;
    sourceStrides[n] = static_cast<uint64_t>(loops_[n].sourceStride);
    denseStrides[n] = dense;
    destinationStrides[n] = static_cast<uint64_t>(loops_[n].destinationStride);
    dense *= loops_[n].count;
  }
  std::span const size(counts.data(), loopCount_);
  copyStrided(size, {sourceStrides.data(), loopCount_}, {denseStrides.data(), loopCount_}, elementBytes_, source,
              temporary.get());
  copyStrided(size, {denseStrides.data(), loopCount_}, {destinationStrides.data(), loopCount_}, elementBytes_,
              temporary.get(), destination);
}

// Cuts the copy along the loop that is outermost in the destination, or the longest one if that has too few rounds.
// Each part is a plan of its own, so that no part knows of the others.
void CopyPlan::runParallel(std::byte const * source, std::byte * destination) const {
  size_t const parts = layout::partsFor(byteCount_);
  if (parts < 2) {
    runSerial(source, destination);
    return;
  }
  if (loopCount_ == 0) {
    size_t const step = (elementBytes_ / parts + 4095) / 4096 * 4096;
    auto const low = reinterpret_cast<uintptr_t>(source) < reinterpret_cast<uintptr_t>(destination)
                         ? reinterpret_cast<uintptr_t>(source)
                         : reinterpret_cast<uintptr_t>(destination);
    auto const high = reinterpret_cast<uintptr_t>(source) + reinterpret_cast<uintptr_t>(destination) - low;
    if (high - low < elementBytes_) {
      runSerial(source, destination);
      return;
    }
    layout::runParts(parts, [&](size_t part) {
      size_t const begin = std::min(part * step, elementBytes_);
      std::memcpy(destination + begin, source + begin, std::min(step, elementBytes_ - begin));
    });
    return;
  }
  auto const largest = [&](auto const & key) {
    size_t best = 0;
    for (size_t n = 1; n < loopCount_; ++n) {
      best = key(loops_[n]) > key(loops_[best]) ? n : best;
    }
    return best;
  };
  size_t cut = largest([](Loop const & loop) { return magnitude(loop.destinationStride); });
  if (loops_[cut].count < parts) {
    cut = largest([](Loop const & loop) { return loop.count; });
  }
  Loop const & loop = loops_[cut];
  uint64_t const step = std::max<uint64_t>((loop.count / parts + 63) / 64 * 64, 1);
  uint64_t const count = loop.count < 64 * parts ? (loop.count + parts - 1) / parts : step;
  layout::runParts(parts, [&](size_t part) {
    uint64_t const begin = part * count;
    if (begin < loop.count) {
      CopyPlan piece(*this);
      piece.loops_[cut].count = std::min(count, loop.count - begin);
      piece.runSerial(moved(source, begin * static_cast<uint64_t>(loop.sourceStride)),
                      moved(destination, begin * static_cast<uint64_t>(loop.destinationStride)));
    }
  });
}

void CopyPlan::runSerial(std::byte const * source, std::byte * destination) const {
  if (loopCount_ == 0) {
    std::memmove(destination, source, elementBytes_);
    return;
  }
  bool const plane = loopCount_ > 1;
  layout::CopyBlock const block{.elementBytes = elementBytes_,
                                .count0 = loops_[0].count,
                                .sourceStride0 = loops_[0].sourceStride,
                                .destinationStride0 = loops_[0].destinationStride,
                                .count1 = plane ? loops_[1].count : 1,
                                .sourceStride1 = plane ? loops_[1].sourceStride : 0,
                                .destinationStride1 = plane ? loops_[1].destinationStride : 0,
                                .streaming = streaming_};
  if (loopCount_ <= 2) {
    kernel_(block, source, destination);
    return;
  }
  std::array<uint64_t, maximumRank> index;
  std::fill_n(index.begin(), loopCount_, 0);
  for (;;) {
    kernel_(block, source, destination);
    size_t n = 2;
    for (; n < loopCount_; ++n) {
      Loop const & loop = loops_[n];
      if (++index[n] < loop.count) {
        source += loop.sourceStride;
        destination += loop.destinationStride;
        break;
      }
      index[n] = 0;
      source = moved(source, uint64_t{0} - reach(loop.count, loop.sourceStride));
      destination = moved(destination, uint64_t{0} - reach(loop.count, loop.destinationStride));
    }
    if (n == loopCount_) {
      return;
    }
  }
}

} // namespace zarnik
