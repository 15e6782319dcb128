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

/// Kernels in portable C++. They are what runs where no vector kernel fits.
CopyKernel scalarRunKernel();
CopyKernel scalarStridedKernel(size_t elementBytes);
CopyKernel scalarTransposeKernel(size_t elementBytes);
/// One source element repeated over dense destination rows.
CopyKernel fillKernel();

/// Kernels for the vector unit at hand, nullptr where there is none for the element size.

/// Rows of more bytes than the element sizes above, contiguous on both sides.
CopyKernel vectorRowKernel();
/// Source contiguous along loop 1, destination along loop 0.
CopyKernel vectorTransposeKernel(size_t elementBytes);
/// Every nth source element, for n from 2 to 4, to dense destination rows, or the same from the last one on. Loop 1 may
/// be the channels of the same pixels, unless they are taken downwards.
CopyKernel vectorDeinterleaveKernel(size_t elementBytes, size_t channels, bool downwards);
/// Loop 0 gathers one element of each of 2 to 4 source rows into pixels that follow each other along loop 1.
CopyKernel vectorInterleaveKernel(size_t elementBytes, size_t channels);
/// Dense rows that run in opposite directions.
CopyKernel vectorReverseKernel(size_t elementBytes);

/// Set while the kernels of the vector unit are not to be used.
extern bool portableOnly;

/// Picks the kernel for a block; `transposed` says that loop 1 is the source's fastest.
CopyKernel selectKernel(CopyBlock const & block, bool transposed);

} // namespace zarnik::layout
