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

void fillLoop(CopyBlock const & block, std::byte const * source, std::byte * destination) {
  size_t const element = block.elementBytes;
  for (uint64_t j = 0; j < block.count1; ++j) {
    auto * to = destination + static_cast<int64_t>(j) * block.destinationStride1;
    std::memcpy(to, source + static_cast<int64_t>(j) * block.sourceStride1, element);
    uint64_t const bytes = block.count0 * element;
    size_t piece = element; // doubles as long as it stays in the first-level cache
    for (uint64_t done = element; done < bytes;) {
      size_t const next = static_cast<size_t>(std::min<uint64_t>(piece, bytes - done));
      std::memcpy(to + done, to, next);
      done += next;
      if (piece < 4096) {
        piece = static_cast<size_t>(done);
      }
    }
  }
}

template <template <size_t> class Loop> CopyKernel forElementSize(size_t bytes) {
  switch (bytes) {
  case 1:
    return Loop<1>::RUN;
  case 2:
    return Loop<2>::RUN;
  case 3:
    return Loop<3>::RUN;
  case 4:
    return Loop<4>::RUN;
  case 6:
    return Loop<6>::RUN;
  case 8:
    return Loop<8>::RUN;
  case 12:
    return Loop<12>::RUN;
  case 16:
    return Loop<16>::RUN;
  case 24:
    return Loop<24>::RUN;
  case 32:
    return Loop<32>::RUN;
  default:
    return Loop<0>::RUN;
  }
}

template <size_t N> struct Strided { static constexpr CopyKernel RUN = &stridedLoop<N>; };

template <size_t N> struct Transpose { static constexpr CopyKernel RUN = &transposeLoop<N>; };

} // namespace

CopyKernel scalarRunKernel() { return &stridedLoop<0>; }

CopyKernel scalarStridedKernel(size_t elementBytes) { return forElementSize<Strided>(elementBytes); }

CopyKernel scalarTransposeKernel(size_t elementBytes) { return forElementSize<Transpose>(elementBytes); }

CopyKernel fillKernel() { return &fillLoop; }

namespace {

bool isPixel(int64_t stride, int64_t element) {
  return stride == 2 * element || stride == 3 * element || stride == 4 * element;
}

CopyKernel selectVectorKernel(CopyBlock const & block, bool transposed) {
  auto const element = static_cast<int64_t>(block.elementBytes);
  constexpr uint64_t worthwhile = 32; // elements in a row below which the portable loops are as fast
  if (block.elementBytes > 32) {
    return vectorRowKernel();
  }
  if (block.destinationStride0 != element) {
    return nullptr;
  }
  if (transposed) {
    if (block.sourceStride1 != element) {
      return nullptr;
    }
    if (isPixel(block.sourceStride0, element) &&
        block.count1 * block.elementBytes <= static_cast<uint64_t>(block.sourceStride0)) {
      return vectorDeinterleaveKernel(block.elementBytes, static_cast<size_t>(block.sourceStride0 / element), false);
    }
    if (isPixel(block.destinationStride1, element) &&
        block.count0 * block.elementBytes == static_cast<uint64_t>(block.destinationStride1)) {
      return vectorInterleaveKernel(block.elementBytes, block.count0);
    }
    return vectorTransposeKernel(block.elementBytes);
  }
  if (block.sourceStride0 == 0) {
    return fillKernel();
  }
  if (block.sourceStride0 == -element && block.count0 >= worthwhile) {
    return vectorReverseKernel(block.elementBytes);
  }
  int64_t const apart = block.sourceStride0 < 0 ? -block.sourceStride0 : block.sourceStride0;
  if (isPixel(apart, element) && block.count0 >= worthwhile) {
    return vectorDeinterleaveKernel(block.elementBytes, static_cast<size_t>(apart / element), block.sourceStride0 < 0);
  }
  return nullptr;
}

} // namespace

bool portableOnly = false;

CopyKernel selectKernel(CopyBlock const & block, bool transposed) {
  if (CopyKernel const kernel = portableOnly ? nullptr : selectVectorKernel(block, transposed)) {
    return kernel;
  }
  if (block.elementBytes > 32) {
    return scalarRunKernel();
  }
  return transposed ? scalarTransposeKernel(block.elementBytes) : scalarStridedKernel(block.elementBytes);
}

} // namespace zarnik::layout
