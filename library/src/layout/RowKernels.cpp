// Kernels that write dense rows: long runs around the caches, channels out of pixels and back, rows turned around.

#include "layout/CopyKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "layout/RowKernels.cpp"
#include <hwy/foreach_target.h>
//
#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include "layout/StreamBytes-inl.h"

#include <algorithm>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace zarnik::layout {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

CopyKernel rowKernel() { return nullptr; }
CopyKernel deinterleaveKernel(size_t, size_t, bool) { return nullptr; }
CopyKernel interleaveKernel(size_t, size_t) { return nullptr; }
CopyKernel reverseKernel(size_t) { return nullptr; }

#else

// Not part of each kernel that streams.
HWY_NOINLINE void streamChunk(std::byte * to, std::byte const * from, size_t bytes) { streamBytes(to, from, bytes); }

// Bytes that are prepared in the first-level cache before they are written around the caches.
constexpr size_t CHUNK_BYTES = 1024;

// The processor's own prefetching starts anew with each row: without help the first lines of each would be waited for.
constexpr size_t HEAD_BYTES = 8 * LINE_BYTES;
// Regions up to this size are taken to be in the caches next to the core, where fetching ahead only costs instructions.
constexpr uint64_t NEAR_BYTES = 512 << 10;
// Rows from here on are worth a call of memcpy.
constexpr size_t LONG_ROW = 65536;

// Copies one row without a call: whole lines of the destination, and vectors over both ends.
HWY_INLINE void copyRow(std::byte * to, std::byte const * from, size_t bytes) {
  if (bytes < LINE_BYTES) {
    copySmall(to, from, bytes);
    return;
  }
  LineTag<uint8_t> const d;
  size_t const lanes = hn::Lanes(d);
  auto const line = [&](size_t at) {
    for (size_t part = 0; part < LINE_BYTES; part += lanes) {
      hn::StoreU(hn::LoadU(d, reinterpret_cast<uint8_t const *>(from) + at + part), d,
                 reinterpret_cast<uint8_t *>(to) + at + part);
    }
  };
  line(0);
  for (size_t at = LINE_BYTES - reinterpret_cast<uintptr_t>(to) % LINE_BYTES; at + LINE_BYTES <= bytes;
       at += LINE_BYTES) {
    line(at);
  }
  line(bytes - LINE_BYTES);
}

void copyRows(CopyBlock const & block, std::byte const * source, std::byte * destination) {
  bool const streaming = block.streaming && block.elementBytes >= 512;
  bool const near = block.count0 * block.count1 * block.elementBytes <= NEAR_BYTES;
  size_t const head = near ? 0 : std::min(block.elementBytes, HEAD_BYTES);
  for (uint64_t j = 0; j < block.count1; ++j) {
    auto const * from = source + static_cast<int64_t>(j) * block.sourceStride1;
    auto * to = destination + static_cast<int64_t>(j) * block.destinationStride1;
    for (uint64_t i = 0; i < block.count0; ++i) {
      for (size_t ahead = 0; ahead < head; ahead += LINE_BYTES) {
        hwy::Prefetch(from + block.sourceStride0 + ahead);
      }
      if (streaming) {
        streamBytes(to, from, block.elementBytes);
      } else if (block.elementBytes < LONG_ROW) {
        copyRow(to, from, block.elementBytes);
      } else {
        std::memcpy(to, from, block.elementBytes);
      }
      from += block.sourceStride0;
      to += block.destinationStride0;
    }
  }
  if (streaming) {
    hwy::FlushStream();
  }
}

// Writes `count` elements to `to` by calls of produce(first, count, where), directly or in chunks around the caches.
template <size_t ElementBytes, class Produce>
HWY_INLINE void emitRow(bool streaming, uint64_t count, std::byte * to, Produce const & produce) {
  HWY_ALIGN std::byte buffer[CHUNK_BYTES];
  constexpr uint64_t chunk = CHUNK_BYTES / ElementBytes;
  size_t const misaligned = reinterpret_cast<uintptr_t>(to) % LINE_BYTES / ElementBytes;
  for (uint64_t first = 0; first < count;) {
    uint64_t const most = !streaming ? count : first == 0 ? chunk - misaligned : chunk;
    uint64_t const now = std::min(most, count - first);
    // One call of it, which is a kernel to compile for each kind of element.
    produce(first, now, streaming ? buffer : to);
    if (streaming) {
      streamChunk(to + first * ElementBytes, buffer, static_cast<size_t>(now * ElementBytes));
    }
    first += now;
  }
}

template <size_t K, class D, class V, typename T> HWY_INLINE void loadPixels(D d, T const * from, V * v) {
  if constexpr (K == 2) {
    hn::LoadInterleaved2(d, from, v[0], v[1]);
  } else if constexpr (K == 3) {
    hn::LoadInterleaved3(d, from, v[0], v[1], v[2]);
  } else {
    hn::LoadInterleaved4(d, from, v[0], v[1], v[2], v[3]);
  }
}

template <size_t K, class D, class V, typename T> HWY_INLINE void storePixels(D d, V const * v, T * to) {
  if constexpr (K == 2) {
    hn::StoreInterleaved2(v[0], v[1], d, to);
  } else if constexpr (K == 3) {
    hn::StoreInterleaved3(v[0], v[1], v[2], d, to);
  } else {
    hn::StoreInterleaved4(v[0], v[1], v[2], v[3], d, to);
  }
}

template <typename T> HWY_INLINE void copyOne(std::byte * to, std::byte const * from) {
  std::memcpy(to, from, sizeof(T));
}

// One channel of `count` pixels. The last pixel is never part of a vector: a vector that starts at this channel reads
// up to the same channel of the next pixel, exclusively.
template <typename T, size_t K> HWY_INLINE void extractChannel(std::byte const * from, uint64_t count, std::byte * to) {
  LineTag<T> const d;
  size_t const lanes = hn::Lanes(d);
  uint64_t i = 0;
  for (; i + lanes < count; i += lanes) {
    hn::Vec<decltype(d)> v[K];
    loadPixels<K>(d, reinterpret_cast<T const *>(from) + i * K, v);
    hn::StoreU(v[0], d, reinterpret_cast<T *>(to) + i);
  }
  for (; i < count; ++i) {
    copyOne<T>(to + i * sizeof(T), from + i * K * sizeof(T));
  }
}

template <typename T, size_t K>
HWY_INLINE void extractAllChannels(std::byte const * from, uint64_t count, std::byte * to, int64_t plane) {
  LineTag<T> const d;
  size_t const lanes = hn::Lanes(d);
  uint64_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    hn::Vec<decltype(d)> v[K];
    loadPixels<K>(d, reinterpret_cast<T const *>(from) + i * K, v);
    for (size_t c = 0; c < K; ++c) {
      hn::StoreU(v[c], d, reinterpret_cast<T *>(to + static_cast<int64_t>(c) * plane) + i);
    }
  }
  for (; i < count; ++i) {
    for (size_t c = 0; c < K; ++c) {
      copyOne<T>(to + static_cast<int64_t>(c) * plane + i * sizeof(T), from + (i * K + c) * sizeof(T));
    }
  }
}

template <typename T, size_t K>
void deinterleave(CopyBlock const & block, std::byte const * source, std::byte * destination) {
  constexpr size_t planeBytes = 1024; // source and destination of all channels share the first-level cache
  constexpr uint64_t chunk = planeBytes / sizeof(T);
  bool const samePixels = block.sourceStride1 > 0 && block.sourceStride1 < block.sourceStride0;
  if (samePixels && block.count1 == K) {
    // The planes are usually a large and round distance apart, so whole runs go to each in turn.
    HWY_ALIGN std::byte buffer[K * planeBytes];
    size_t const misaligned = reinterpret_cast<uintptr_t>(destination) % LINE_BYTES / sizeof(T);
    for (uint64_t i = 0; i < block.count0;) {
      uint64_t const now = std::min(i == 0 ? chunk - misaligned : chunk, block.count0 - i);
      auto const * from = source + i * K * sizeof(T);
      auto * to = destination + i * sizeof(T);
      extractAllChannels<T, K>(from, now, block.streaming ? buffer : to,
                               block.streaming ? int64_t{planeBytes} : block.destinationStride1);
      for (size_t c = 0; block.streaming && c < K; ++c) {
        streamChunk(to + static_cast<int64_t>(c) * block.destinationStride1, buffer + c * planeBytes,
                    static_cast<size_t>(now * sizeof(T)));
      }
      i += now;
    }
  } else {
    // Some of the channels of the same pixels: while these are in the first-level cache. Else whole rows.
    uint64_t const step = samePixels ? chunk : block.count0;
    for (uint64_t begin = 0; begin < block.count0; begin += step) {
      uint64_t const count = std::min(step, block.count0 - begin);
      for (uint64_t j = 0; j < block.count1; ++j) {
        auto const * from = source + begin * K * sizeof(T) + static_cast<int64_t>(j) * block.sourceStride1;
        emitRow<sizeof(T)>(block.streaming, count,
                           destination + begin * sizeof(T) + static_cast<int64_t>(j) * block.destinationStride1,
                           [&](uint64_t first, uint64_t now, std::byte * to) {
                             extractChannel<T, K>(from + first * K * sizeof(T), now, to);
                           });
      }
    }
  }
  if (block.streaming) {
    hwy::FlushStream();
  }
}

template <typename T, size_t K>
void interleave(CopyBlock const & block, std::byte const * source, std::byte * destination) {
  LineTag<T> const d;
  size_t const lanes = hn::Lanes(d);
  auto const row = [&](size_t c, uint64_t pixel) {
    return source + static_cast<int64_t>(c) * block.sourceStride0 + pixel * sizeof(T);
  };
  emitRow<K * sizeof(T)>(block.streaming, block.count1, destination, [&](uint64_t first, uint64_t now, std::byte * to) {
    uint64_t i = 0;
    for (; i + lanes <= now; i += lanes) {
      hn::Vec<decltype(d)> v[K];
      for (size_t c = 0; c < K; ++c) {
        v[c] = hn::LoadU(d, reinterpret_cast<T const *>(row(c, first + i)));
      }
      storePixels<K>(d, v, reinterpret_cast<T *>(to) + i * K);
    }
    for (; i < now; ++i) {
      for (size_t c = 0; c < K; ++c) {
        copyOne<T>(to + (i * K + c) * sizeof(T), row(c, first + i));
      }
    }
  });
  if (block.streaming) {
    hwy::FlushStream();
  }
}

template <class D, class V> HWY_INLINE V reversed(D d, V v) {
  if constexpr (sizeof(hn::TFromD<D>) == 1) {
    HWY_ALIGN static constexpr uint8_t downwards[16] = {15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
    return hn::ReverseBlocks(d, hn::TableLookupBytes(v, hn::LoadDup128(d, downwards)));
  } else {
    return hn::Reverse(d, v);
  }
}

// Elements of `Channels` components of type T. `last` is the first element of the destination's order, the source runs
// downwards from it.
template <typename T, size_t Channels>
HWY_INLINE void reverseRow(std::byte const * last, uint64_t count, std::byte * to) {
  constexpr size_t bytes = sizeof(T) * Channels;
  uint64_t i = 0;
  if constexpr (sizeof(T) == 1 && Channels == 3) {
    // Five pixels of a vector of 16 bytes; the 16th is read from the pixel above and written to the pixel after.
    hn::FixedTag<uint8_t, 16> const d;
    HWY_ALIGN static constexpr uint8_t order[16] = {12, 13, 14, 9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2, 15};
    auto const index = hn::Load(d, order);
    if (count > 0) {
      std::memcpy(to, last, bytes);
      i = 1;
    }
    for (; i + 5 < count; i += 5) {
      auto const v = hn::LoadU(d, reinterpret_cast<uint8_t const *>(last) - (i + 4) * bytes);
      hn::StoreU(hn::TableLookupBytes(v, index), d, reinterpret_cast<uint8_t *>(to) + i * bytes);
    }
  } else {
    LineTag<T> const d;
    size_t const lanes = hn::Lanes(d);
    auto const vectorAt = [&](uint64_t first) {
      auto const * from = reinterpret_cast<T const *>(last - (first + lanes - 1) * bytes);
      auto * target = reinterpret_cast<T *>(to + first * bytes);
      if constexpr (Channels == 1) {
        hn::StoreU(reversed(d, hn::LoadU(d, from)), d, target);
      } else {
        hn::Vec<decltype(d)> v[Channels];
        loadPixels<Channels>(d, from, v);
        for (auto & component : v) {
          component = reversed(d, component);
        }
        storePixels<Channels>(d, v, target);
      }
    };
    // Whole lines of the destination, and vectors over both ends.
    if (count >= lanes) {
      vectorAt(0);
      i = Channels == 1 ? lanes - reinterpret_cast<uintptr_t>(to) % (lanes * bytes) / bytes : lanes;
      for (; i + lanes <= count; i += lanes) {
        vectorAt(i);
      }
      vectorAt(count - lanes);
      return;
    }
  }
  for (; i < count; ++i) {
    std::memcpy(to + i * bytes, last - i * bytes, bytes);
  }
}

template <typename T, size_t Channels>
void reverse(CopyBlock const & block, std::byte const * source, std::byte * destination) {
  constexpr size_t bytes = sizeof(T) * Channels;
  for (uint64_t j = 0; j < block.count1; ++j) {
    auto const * from = source + static_cast<int64_t>(j) * block.sourceStride1;
    emitRow<bytes>(
        block.streaming, block.count0, destination + static_cast<int64_t>(j) * block.destinationStride1,
        [&](uint64_t first, uint64_t now, std::byte * to) { reverseRow<T, Channels>(from - first * bytes, now, to); });
  }
  if (block.streaming) {
    hwy::FlushStream();
  }
}

// The same channel of `count` pixels from the last one on, of which `last` is the value. The last pixel is never part
// of a vector: a vector reads the pixels of its values whole.
template <typename T, size_t K>
HWY_INLINE void extractDownwards(std::byte const * last, uint64_t count, std::byte * to) {
  LineTag<T> const d;
  size_t const lanes = hn::Lanes(d);
  if (count > 0) {
    copyOne<T>(to, last);
  }
  uint64_t i = 1;
  for (; i + lanes <= count; i += lanes) {
    hn::Vec<decltype(d)> v[K];
    loadPixels<K>(d, reinterpret_cast<T const *>(last) - (i + lanes - 1) * K, v);
    hn::StoreU(reversed(d, v[0]), d, reinterpret_cast<T *>(to) + i);
  }
  for (; i < count; ++i) {
    copyOne<T>(to + i * sizeof(T), last - i * K * sizeof(T));
  }
}

template <typename T, size_t K>
void deinterleaveDownwards(CopyBlock const & block, std::byte const * source, std::byte * destination) {
  for (uint64_t j = 0; j < block.count1; ++j) {
    auto const * from = source + static_cast<int64_t>(j) * block.sourceStride1;
    emitRow<sizeof(T)>(block.streaming, block.count0, destination + static_cast<int64_t>(j) * block.destinationStride1,
                       [&](uint64_t first, uint64_t now, std::byte * to) {
                         extractDownwards<T, K>(from - first * K * sizeof(T), now, to);
                       });
  }
  if (block.streaming) {
    hwy::FlushStream();
  }
}

template <typename T, size_t K> CopyKernel pixelKernel(bool downwards) {
  return downwards ? &deinterleaveDownwards<T, K> : &deinterleave<T, K>;
}

template <typename T> CopyKernel deinterleaveOf(size_t channels, bool downwards) {
  return channels == 2   ? pixelKernel<T, 2>(downwards)
         : channels == 3 ? pixelKernel<T, 3>(downwards)
                         : pixelKernel<T, 4>(downwards);
}

template <typename T> CopyKernel interleaveOf(size_t channels) {
  return channels == 2 ? &interleave<T, 2> : channels == 3 ? &interleave<T, 3> : &interleave<T, 4>;
}

CopyKernel rowKernel() { return &copyRows; }

CopyKernel deinterleaveKernel(size_t elementBytes, size_t channels, bool downwards) {
  switch (elementBytes) {
  case 1:
    return deinterleaveOf<uint8_t>(channels, downwards);
  case 2:
    return deinterleaveOf<uint16_t>(channels, downwards);
  case 4:
    return deinterleaveOf<uint32_t>(channels, downwards);
  case 8:
    return deinterleaveOf<uint64_t>(channels, downwards);
  default:
    return nullptr;
  }
}

CopyKernel interleaveKernel(size_t elementBytes, size_t channels) {
  switch (elementBytes) {
  case 1:
    return interleaveOf<uint8_t>(channels);
  case 2:
    return interleaveOf<uint16_t>(channels);
  case 4:
    return interleaveOf<uint32_t>(channels);
  case 8:
    return interleaveOf<uint64_t>(channels);
  default:
    return nullptr;
  }
}

CopyKernel reverseKernel(size_t elementBytes) {
  switch (elementBytes) {
  case 1:
    return &reverse<uint8_t, 1>;
  case 2:
    return &reverse<uint16_t, 1>;
  case 3:
    return &reverse<uint8_t, 3>;
  case 4:
    return &reverse<uint32_t, 1>;
  case 6:
    return &reverse<uint16_t, 3>;
  case 8:
    return &reverse<uint64_t, 1>;
  case 12:
    return &reverse<uint32_t, 3>;
  case 16:
    return &reverse<uint64_t, 2>;
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

ZARNIK_VECTOR_KERNEL(rowKernel);
ZARNIK_VECTOR_KERNEL(deinterleaveKernel);
ZARNIK_VECTOR_KERNEL(interleaveKernel);
ZARNIK_VECTOR_KERNEL(reverseKernel);

CopyKernel vectorRowKernel() { return ZARNIK_VECTOR_DISPATCH(rowKernel)(); }

CopyKernel vectorDeinterleaveKernel(size_t elementBytes, size_t channels, bool downwards) {
  return ZARNIK_VECTOR_DISPATCH(deinterleaveKernel)(elementBytes, channels, downwards);
}

CopyKernel vectorInterleaveKernel(size_t elementBytes, size_t channels) {
  return ZARNIK_VECTOR_DISPATCH(interleaveKernel)(elementBytes, channels);
}

CopyKernel vectorReverseKernel(size_t elementBytes) { return ZARNIK_VECTOR_DISPATCH(reverseKernel)(elementBytes); }

} // namespace zarnik::layout

#endif
