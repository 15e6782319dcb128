#include "layout/CopyPlan.h"

#include "core/Guarded.h"
#include "layout/CacheSize.h"
#include "layout/CopyKernels.h"
#include "layout/Offsets.h"
#include "layout/ThreadPool.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace zarnik {

using layout::LoopNest;
using layout::Overlap;

CopyPlan::CopyPlan(std::span<uint64_t const> size, std::span<uint64_t const> sourceStrides,
                   std::span<uint64_t const> destinationStrides, size_t elementBytes)
    : nest_(size, sourceStrides, destinationStrides), elementBytes_(elementBytes) {
  if (elementBytes == 0) {
    throw InvalidArgument("elements of 0 bytes cannot be copied");
  }
  if (nest_.elements > (uint64_t{1} << 63) / elementBytes) {
    throw InvalidArgument(
        message("a region of {} elements of {} bytes is above 2^63 bytes", fmt::join(size, " x "), elementBytes));
  }
  byteCount_ = nest_.elements * elementBytes;
  if (byteCount_ != 0) {
    streaming_ = byteCount_ >= layout::streamingThresholdBytes();
    orderLoops();
    chooseKernel();
  }
}

void CopyPlan::orderLoops() {
  auto & loops = nest_.loops;
  auto const element = static_cast<int64_t>(elementBytes_);
  if (nest_.count > 0 && loops[0].sourceStride == element && loops[0].destinationStride == element) {
    elementBytes_ *= loops[0].count;
    --nest_.count;
    std::copy_n(loops.begin() + 1, nest_.count, loops.begin());
  }
  if (nest_.count == 0) {
    return;
  }
  // The loop along which the source moves least. A source that does not move along a loop at all gains nothing from it.
  size_t fastest = 0;
  for (size_t n = 1; n < nest_.count; ++n) {
    if (loops[n].sourceStride != 0 &&
        layout::magnitude(loops[n].sourceStride) < layout::magnitude(loops[fastest].sourceStride)) {
      fastest = n;
    }
  }
  if (fastest > 1) {
    std::rotate(loops.begin() + 1, loops.begin() + static_cast<ptrdiff_t>(fastest),
                loops.begin() + static_cast<ptrdiff_t>(fastest) + 1);
  }
  if (fastest > 0 && loops[1].sourceStride < 0) {
    nest_.reverse(1);
  }
  transposed_ = fastest > 0;
}

void CopyPlan::chooseKernel() {
  if (nest_.count != 0) {
    kernel_ = layout::selectKernel(innerBlock(), transposed_);
  }
}

layout::CopyBlock CopyPlan::innerBlock() const {
  bool const plane = nest_.count > 1;
  return {.elementBytes = elementBytes_,
          .count0 = nest_[0].count,
          .sourceStride0 = nest_[0].sourceStride,
          .destinationStride0 = nest_[0].destinationStride,
          .count1 = plane ? nest_[1].count : 1,
          .sourceStride1 = plane ? nest_[1].sourceStride : 0,
          .destinationStride1 = plane ? nest_[1].destinationStride : 0,
          .streaming = streaming_};
}

void CopyPlan::run(void const * source, void * destination) const {
  if (byteCount_ == 0) {
    return;
  }
  auto const * from = layout::moved(static_cast<std::byte const *>(source), nest_.sourceOffset);
  auto * to = layout::moved(static_cast<std::byte *>(destination), nest_.destinationOffset);
  switch (nest_.overlap(from, elementBytes_, to, elementBytes_)) {
  case Overlap::NONE:
    runParallel(from, to);
    break;
  case Overlap::SHARED:
    if (nest_.count == 0) {
      std::memmove(to, from, elementBytes_);
    } else {
      runThroughTemporary(from, to);
    }
    break;
  case Overlap::SAME:
    break;
  }
}

void CopyPlan::runThroughTemporary(std::byte const * source, std::byte * destination) const {
  std::unique_ptr<std::byte[]> const temporary(new (std::nothrow) std::byte[byteCount_]);
  if (!temporary) {
    throw Error(message("cannot allocate {} bytes to copy between regions that share memory", byteCount_));
  }
  std::array<uint64_t, LoopNest::CAPACITY> counts;
  std::array<uint64_t, LoopNest::CAPACITY> sourceStrides;
  std::array<uint64_t, LoopNest::CAPACITY> denseStrides;
  std::array<uint64_t, LoopNest::CAPACITY> destinationStrides;
  uint64_t dense = elementBytes_;
  for (size_t n = 0; n < nest_.count; ++n) {
    counts[n] = nest_[n].count;
    sourceStrides[n] = static_cast<uint64_t>(nest_[n].sourceStride);
    denseStrides[n] = dense;
    destinationStrides[n] = static_cast<uint64_t>(nest_[n].destinationStride);
    dense *= nest_[n].count;
  }
  std::span const size(counts.data(), nest_.count);
  std::span const denseSpan(denseStrides.data(), nest_.count);
  copyStrided(size, {sourceStrides.data(), nest_.count}, denseSpan, elementBytes_, source, temporary.get());
  copyStrided(size, denseSpan, {destinationStrides.data(), nest_.count}, elementBytes_, temporary.get(), destination);
}

// Cuts the copy into parts. Each is a plan of its own, so that no part knows of the others.
void CopyPlan::runParallel(std::byte const * source, std::byte * destination) const {
  size_t const parts = layout::partsFor(byteCount_);
  if (parts < 2) {
    runSerial(source, destination);
    return;
  }
  // Whole pages of a run, or whole cache lines of any element in a loop that is long enough.
  bool const run = nest_.count == 0;
  size_t const cut = run ? 0 : nest_.loopToCut(parts);
  uint64_t const count = run ? elementBytes_ : nest_[cut].count;
  uint64_t const unit = run ? 4096 : count < parts * 64 ? 1 : 64;
  uint64_t const step = (count / unit / parts + 1) * unit;
  layout::runParts(parts, [&](size_t part) {
    uint64_t const begin = part * step;
    if (begin >= count) {
      return;
    }
    CopyPlan piece(*this);
    (run ? piece.elementBytes_ : piece.nest_.loops[cut].count) = std::min(step, count - begin);
    // Kernels for pixels hold for one number of rounds only.
    piece.chooseKernel();
    piece.runSerial(
        layout::moved(source, begin * (run ? 1 : static_cast<uint64_t>(nest_[cut].sourceStride))),
        layout::moved(destination, begin * (run ? 1 : static_cast<uint64_t>(nest_[cut].destinationStride))));
  });
}

void CopyPlan::runSerial(std::byte const * source, std::byte * destination) const {
  if (nest_.count == 0) {
    std::memcpy(destination, source, elementBytes_);
    return;
  }
  layout::CopyBlock const block = innerBlock();
  if (nest_.count <= 2) {
    kernel_(block, source, destination);
    return;
  }
  std::array<uint64_t, LoopNest::CAPACITY> index;
  std::fill_n(index.begin(), nest_.count, 0);
  for (;;) {
    kernel_(block, source, destination);
    size_t n = 2;
    for (; n < nest_.count; ++n) {
      LoopNest::Loop const & loop = nest_[n];
      if (++index[n] < loop.count) {
        source += loop.sourceStride;
        destination += loop.destinationStride;
        break;
      }
      index[n] = 0;
      source = layout::moved(source, uint64_t{0} - layout::reach(loop.count, loop.sourceStride));
      destination = layout::moved(destination, uint64_t{0} - layout::reach(loop.count, loop.destinationStride));
    }
    if (n == nest_.count) {
      return;
    }
  }
}

} // namespace zarnik
