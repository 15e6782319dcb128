#include "layout/CopyKernels.h"

#include <algorithm>
#include <cstring>

namespace zarnik::layout {

namespace {

// Element sizes with a loop of their own; N = 0 stands for any other size.
template <size_t N> inline void copyElement(std::byte * destination, std::byte const * source, size_t bytes) {
  std::memcpy(destination, source, N == 0 ? bytes : N);
}

template <size_t N> void stridedLoop(CopyBlock const & block, std::byte const * source, std::byte * destination) {
  for (uint64_t j = 0; j < block.count1; ++j) {
    auto const * from = source + static_cast<int64_t>(j) * block.sourceStride1;
    auto * to = destination + static_cast<int64_t>(j) * block.destinationStride1;
    for (uint64_t i = 0; i < block.count0; ++i) {
      copyElement<N>(to + static_cast<int64_t>(i) * block.destinationStride0,
                     from + static_cast<int64_t>(i) * block.sourceStride0, block.elementBytes);
    }
  }
}

// Goes through the plane in tiles of about a cache line of source by 64 elements of destination, so that every line
// that is fetched on either side is used whole before it is evicted.
template <size_t N> void transposeLoop(CopyBlock const & block, std::byte const * source, std::byte * destination) {
  uint64_t const tile0 = 64;
  uint64_t const tile1 = std::max<uint64_t>(64 / block.elementBytes, 4);
  for (uint64_t begin1 = 0; begin1 < block.count1; begin1 += tile1) {
    uint64_t const end1 = std::min(begin1 + tile1, block.count1);
    for (uint64_t begin0 = 0; begin0 < block.count0; begin0 += tile0) {
      uint64_t const end0 = std::min(begin0 + tile0, block.count0);
      for (uint64_t j = begin1; j < end1; ++j) {
        auto const * from = source + static_cast<int64_t>(j) * block.sourceStride1;
        auto * to = destination + static_cast<int64_t>(j) * block.destinationStride1;
        for (uint64_t i = begin0; i < end0; ++i) {
          copyElement<N>(to + static_cast<int64_t>(i) * block.destinationStride0,
                         from + static_cast<int64_t>(i) * block.sourceStride0, block.elementBytes);
        }
      }
    }
  }
}

template <template <size_t> class Loop> CopyKernel forElementSize(size_t bytes) {
  switch (bytes) {
  case 1:
    return Loop<1>::run;
  case 2:
    return Loop<2>::run;
  case 3:
    return Loop<3>::run;
  case 4:
    return Loop<4>::run;
  case 6:
    return Loop<6>::run;
  case 8:
    return Loop<8>::run;
  case 12:
    return Loop<12>::run;
  case 16:
    return Loop<16>::run;
  case 24:
    return Loop<24>::run;
  case 32:
    return Loop<32>::run;
  default:
    return Loop<0>::run;
  }
}

template <size_t N> struct Strided { static constexpr CopyKernel run = &stridedLoop<N>; };

template <size_t N> struct Transpose { static constexpr CopyKernel run = &transposeLoop<N>; };

} // namespace

CopyKernel scalarRunKernel() { return &stridedLoop<0>; }

CopyKernel scalarStridedKernel(size_t elementBytes) { return forElementSize<Strided>(elementBytes); }

CopyKernel scalarTransposeKernel(size_t elementBytes) { return forElementSize<Transpose>(elementBytes); }

CopyKernel selectKernel(CopyBlock const & block, bool transposed) {
  if (block.elementBytes > 32) {
    return scalarRunKernel();
  }
  return transposed ? scalarTransposeKernel(block.elementBytes) : scalarStridedKernel(block.elementBytes);
}

} // namespace zarnik::layout
