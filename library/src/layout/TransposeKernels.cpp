// Transposes: the source is contiguous along loop 1, the destination along loop 0.
//
// The plane is cut into bands whose pages the address translation cache can hold, and these into tiles. A tile is
// transposed in registers, 16 bytes of destination by one vector of source at a time. A copy that is larger than the
// caches goes through a buffer on the stack, which is then written around the caches in runs of several whole lines,
// while the lines of the next tile are on their way.

#include "layout/CopyKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "layout/TransposeKernels.cpp"
#include <hwy/foreach_target.h>
//
#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include "layout/StreamBytes-inl.h"

#include <algorithm>
#include <array>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace zarnik::layout {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

CopyKernel transposeKernel(size_t) { return nullptr; }

#else

// Elements of a band along either loop. Each is a page on one side when the strides are large; two bands of 1024 pages
// leave room in a second-level translation cache of 1536 entries or more.
constexpr uint64_t BAND_ELEMENTS = 1024;

// Bytes of a tile along either loop.
constexpr size_t tileBytes(size_t elementBytes) { return elementBytes < 4 ? 256 : 512; }

// What is left of a band below this many elements is added to the tile before it, so that no tile is too small for the
// vectors.
constexpr size_t slackElements(size_t elementBytes) { return std::max<size_t>(16 / elementBytes, 1); }

// Transposes 16 / sizeof(T) rows of one vector each: block b of vector j becomes row b * rows + j of 16 bytes.
template <class D, typename T = hn::TFromD<D>>
HWY_INLINE void transposeRows(D d, T const * from, int64_t fromStride, T * to, int64_t toStride) {
  constexpr size_t rows = 16 / sizeof(T);
  hn::Vec<D> v[rows];
  for (size_t r = 0; r < rows; ++r) {
    auto const * row = reinterpret_cast<std::byte const *>(from) + static_cast<int64_t>(r) * fromStride;
    hwy::Prefetch(row + static_cast<int64_t>(rows) * fromStride);
    v[r] = hn::LoadU(d, reinterpret_cast<T const *>(row));
  }
  for (size_t stage = 1; stage < rows; stage *= 2) {
    hn::Vec<D> next[rows];
    for (size_t r = 0; r < rows / 2; ++r) {
      next[2 * r] = hn::InterleaveLower(d, v[r], v[r + rows / 2]);
      next[2 * r + 1] = hn::InterleaveUpper(d, v[r], v[r + rows / 2]);
    }
    std::copy_n(next, rows, v);
  }
  auto const row = [&](size_t r) {
    return reinterpret_cast<T *>(reinterpret_cast<std::byte *>(to) + static_cast<int64_t>(r) * toStride);
  };
  for (size_t r = 0; r < rows; ++r) {
    if constexpr (hn::MaxLanes(D()) * sizeof(T) == 64) {
      hn::Half<D> const half;
      hn::Half<decltype(half)> const quarter;
      auto const low = hn::LowerHalf(half, v[r]);
      auto const high = hn::UpperHalf(half, v[r]);
      hn::StoreU(hn::LowerHalf(quarter, low), quarter, row(r));
      hn::StoreU(hn::UpperHalf(quarter, low), quarter, row(r + rows));
      hn::StoreU(hn::LowerHalf(quarter, high), quarter, row(r + 2 * rows));
      hn::StoreU(hn::UpperHalf(quarter, high), quarter, row(r + 3 * rows));
    } else if constexpr (hn::MaxLanes(D()) * sizeof(T) == 32) {
      hn::Half<D> const half;
      hn::StoreU(hn::LowerHalf(half, v[r]), half, row(r));
      hn::StoreU(hn::UpperHalf(half, v[r]), half, row(r + rows));
    } else {
      hn::StoreU(v[r], d, row(r));
    }
  }
}

// Writes a tile of count0 x count1 elements to `to`, row after row of `toStride` bytes. What does not fill the last
// vector along either loop is done again together with elements before it.
template <typename T> HWY_INLINE void transposeTile(std::byte const * from, int64_t fromStride, size_t count0,
                                                    size_t count1, std::byte * to, int64_t toStride) {
  LineTag<T> const wide;
  hn::FixedTag<T, 16 / sizeof(T)> const narrow;
  constexpr size_t rows = 16 / sizeof(T);
  size_t const wideLanes = hn::Lanes(wide);
  if (count0 < rows || count1 < rows) {
    for (size_t j = 0; j < count1; ++j) {
      for (size_t i = 0; i < count0; ++i) {
        std::memcpy(to + static_cast<int64_t>(j) * toStride + i * sizeof(T),
                    from + static_cast<int64_t>(i) * fromStride + j * sizeof(T), sizeof(T));
      }
    }
    return;
  }
  for (size_t i = 0;; i = std::min(i + rows, count0 - rows)) {
    auto const * source = reinterpret_cast<T const *>(from + static_cast<int64_t>(i) * fromStride);
    auto const target = [&](size_t j) {
      return reinterpret_cast<T *>(to + static_cast<int64_t>(j) * toStride + i * sizeof(T));
    };
    size_t j = 0;
    for (; j + wideLanes <= count1; j += wideLanes) {
      transposeRows(wide, source + j, fromStride, target(j), toStride);
    }
    while (j < count1) {
      j = std::min(j, count1 - rows);
      transposeRows(narrow, source + j, fromStride, target(j), toStride);
      j += rows;
    }
    if (i + rows == count0) {
      return;
    }
  }
}

template <size_t N> HWY_INLINE void transposeTileOfBytes(std::byte const * from, int64_t fromStride, size_t begin0,
                                                         size_t count0, size_t begin1, size_t count1, std::byte * to,
                                                         int64_t toStride) {
  for (size_t i = begin0; i < count0; ++i) {
    for (size_t j = begin1; j < count1; ++j) {
      std::memcpy(to + static_cast<int64_t>(j) * toStride + i * N, from + static_cast<int64_t>(i) * fromStride + j * N,
                  N);
    }
  }
}

// Elements of three bytes, widened to four for the registers. Each store writes 4 bytes too many, which the next one
// along the row overwrites; the caller leaves room for the last one.
HWY_INLINE void transposeTileOf3Bytes(std::byte const * from, int64_t fromStride, size_t count0, size_t count1,
                                      std::byte * to, int64_t toStride) {
  hn::FixedTag<uint8_t, 16> const bytes;
  hn::FixedTag<uint32_t, 4> const words;
  HWY_ALIGN static constexpr uint8_t widenIndex[16] = {0, 1, 2, 0x80, 3, 4, 5, 0x80, 6, 7, 8, 0x80, 9, 10, 11, 0x80};
  HWY_ALIGN static constexpr uint8_t narrowIndex[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 3, 7, 11, 15};
  auto const widen = hn::Load(bytes, widenIndex);
  auto const narrow = hn::Load(bytes, narrowIndex);
  size_t const rows = count0 - count0 % 4;
  size_t columns = 0; // a load takes 4 bytes more than the four elements: it must end within the row
  for (; columns + 6 <= count1; columns += 4) {
  }
  for (size_t i = 0; i < rows; i += 4) {
    for (size_t j = 0; j < columns; j += 4) {
      auto const * corner = from + static_cast<int64_t>(i) * fromStride + j * 3;
      auto const row = [&](int64_t r) {
        hwy::Prefetch(corner + (r + 4) * fromStride);
        auto const packed = hn::LoadU(bytes, reinterpret_cast<uint8_t const *>(corner + r * fromStride));
        return hn::BitCast(words, hn::TableLookupBytesOr0(packed, widen));
      };
      auto const a = row(0), b = row(1), c = row(2), d = row(3);
      auto const ac0 = hn::InterleaveLower(words, a, c), ac1 = hn::InterleaveUpper(words, a, c);
      auto const bd0 = hn::InterleaveLower(words, b, d), bd1 = hn::InterleaveUpper(words, b, d);
      auto const store = [&](size_t column, auto const & v) {
        hn::StoreU(hn::TableLookupBytes(hn::BitCast(bytes, v), narrow), bytes,
                   reinterpret_cast<uint8_t *>(to + static_cast<int64_t>(j + column) * toStride + i * 3));
      };
      store(0, hn::InterleaveLower(words, ac0, bd0));
      store(1, hn::InterleaveUpper(words, ac0, bd0));
      store(2, hn::InterleaveLower(words, ac1, bd1));
      store(3, hn::InterleaveUpper(words, ac1, bd1));
    }
  }
  transposeTileOfBytes<3>(from, fromStride, 0, rows, columns, count1, to, toStride);
  transposeTileOfBytes<3>(from, fromStride, rows, count0, 0, count1, to, toStride);
}

template <size_t N> HWY_INLINE void tile(std::byte const * from, int64_t fromStride, size_t count0, size_t count1,
                                         std::byte * to, int64_t toStride) {
  if constexpr (N == 1) {
    transposeTile<uint8_t>(from, fromStride, count0, count1, to, toStride);
  } else if constexpr (N == 2) {
    transposeTile<uint16_t>(from, fromStride, count0, count1, to, toStride);
  } else if constexpr (N == 3) {
    transposeTileOf3Bytes(from, fromStride, count0, count1, to, toStride);
  } else if constexpr (N == 4) {
    transposeTile<uint32_t>(from, fromStride, count0, count1, to, toStride);
  } else if constexpr (N == 8) {
    transposeTile<uint64_t>(from, fromStride, count0, count1, to, toStride);
  } else {
    transposeTileOfBytes<N>(from, fromStride, 0, count0, 0, count1, to, toStride);
  }
}

// Elements in the next tile of `size`, of which `left` are left.
HWY_INLINE size_t take(uint64_t left, size_t size, size_t slack) {
  return static_cast<size_t>(left < size + slack ? left : size);
}

HWY_INLINE void prefetchTile(std::byte const * from, int64_t fromStride, size_t row, size_t rows, size_t bytes) {
  if (row < rows) {
    for (size_t k = 0; k < bytes; k += LINE_BYTES) {
      hwy::Prefetch(from + static_cast<int64_t>(row) * fromStride + k);
    }
  }
}

// The part of a plane within one band. `first0` is the size of the first tile along loop 0.
template <size_t N> void transposeBand(CopyBlock const & block, std::byte const * source, std::byte * destination,
                                       size_t first0, uint64_t end0, uint64_t end1) {
  constexpr size_t size = tileBytes(N) / N;
  constexpr size_t slack = slackElements(N);
  constexpr size_t pitch = ((size + slack) * N + 15) / 16 * 16;
  HWY_ALIGN std::byte buffer[pitch * (size + slack) + 16];
  int64_t const sourceStride = block.sourceStride0;
  for (uint64_t begin1 = 0; begin1 < end1;) {
    size_t const count1 = take(end1 - begin1, size, slack);
    for (uint64_t begin0 = 0; begin0 < end0;) {
      size_t const count0 = take(end0 - begin0, begin0 == 0 ? first0 : size, slack);
      auto const * from = source + static_cast<int64_t>(begin0) * sourceStride + begin1 * N;
      auto * to = destination + static_cast<int64_t>(begin1) * block.destinationStride1 + begin0 * N;
      if (!block.streaming && N != 3) {
        tile<N>(from, sourceStride, count0, count1, to, block.destinationStride1);
      } else {
        tile<N>(from, sourceStride, count0, count1, buffer, pitch);
        auto const * next = from + static_cast<int64_t>(count0) * sourceStride;
        size_t nextRows = std::min<size_t>(size, end0 - begin0 - count0);
        if (nextRows == 0 && begin1 + count1 < end1) {
          next = source + (begin1 + count1) * N;
          nextRows = std::min<size_t>(size, end0);
        }
        for (size_t j = 0; j < count1; ++j) {
          auto * row = to + static_cast<int64_t>(j) * block.destinationStride1;
          if (block.streaming) {
            prefetchTile(next, sourceStride, j, nextRows, count1 * N);
            streamBytes(row, buffer + j * pitch, count0 * N);
          } else {
            std::memcpy(row, buffer + j * pitch, count0 * N);
          }
        }
      }
      begin0 += count0;
    }
    begin1 += count1;
  }
}

template <size_t N> void transpose(CopyBlock const & block, std::byte const * source, std::byte * destination) {
  // The first tile ends where a line of the destination does, and so do all others if the rows are aligned alike.
  size_t const misaligned = reinterpret_cast<uintptr_t>(destination) % LINE_BYTES;
  size_t const first0 = (tileBytes(N) - (misaligned % N == 0 ? misaligned : 0)) / N;
  for (uint64_t band1 = 0; band1 < block.count1; band1 += BAND_ELEMENTS) {
    for (uint64_t band0 = 0; band0 < block.count0; band0 += BAND_ELEMENTS) {
      transposeBand<N>(block, source + static_cast<int64_t>(band0) * block.sourceStride0 + band1 * N,
                       destination + static_cast<int64_t>(band1) * block.destinationStride1 + band0 * N, first0,
                       std::min(BAND_ELEMENTS, block.count0 - band0), std::min(BAND_ELEMENTS, block.count1 - band1));
    }
  }
  if (block.streaming) {
    hwy::FlushStream();
  }
}

CopyKernel transposeKernel(size_t elementBytes) {
  switch (elementBytes) {
  case 1:
    return &transpose<1>;
  case 2:
    return &transpose<2>;
  case 3:
    return &transpose<3>;
  case 4:
    return &transpose<4>;
  case 6:
    return &transpose<6>;
  case 8:
    return &transpose<8>;
  case 12:
    return &transpose<12>;
  case 16:
    return &transpose<16>;
  default:
    return nullptr;
  }
}

#endif

} // namespace HWY_NAMESPACE
} // namespace zarnik::layout
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "layout/VectorDispatch.h"

namespace zarnik::layout {

ZARNIK_VECTOR_KERNEL(transposeKernel);

CopyKernel vectorTransposeKernel(size_t elementBytes) { return ZARNIK_VECTOR_DISPATCH(transposeKernel)(elementBytes); }

} // namespace zarnik::layout

#endif
