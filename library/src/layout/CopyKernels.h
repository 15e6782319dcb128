#pragma once

#include <cstddef>
#include <cstdint>

namespace zarnik::layout {

/// The two innermost loops of a copy around one element. Loop 0 is the one along which the destination is fastest; in
/// a transpose loop 1 is the one along which the source is fastest, else the next one outwards.
struct CopyBlock {
  size_t elementBytes;
  uint64_t count0;
  int64_t sourceStride0;
  int64_t destinationStride0;
  uint64_t count1;
  int64_t sourceStride1;
  int64_t destinationStride1;
  bool streaming; ///< The copy is too large for the caches: write around them where whole lines are written.
};

using CopyKernel = void (*)(CopyBlock const &, std::byte const *, std::byte *);

/// Kernels in portable C++. They are what runs where no vector kernel fits, and what the tests compare those with.
CopyKernel scalarRunKernel();
CopyKernel scalarStridedKernel(size_t elementBytes);
CopyKernel scalarTransposeKernel(size_t elementBytes);

/// Picks the kernel for a block; `transposed` says that loop 1 is the source's fastest.
CopyKernel selectKernel(CopyBlock const & block, bool transposed);

} // namespace zarnik::layout
