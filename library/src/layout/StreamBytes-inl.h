// Included once per vector target, hence the toggled guard instead of #pragma once.
#if defined(ZARNIK_LAYOUT_STREAM_BYTES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZARNIK_LAYOUT_STREAM_BYTES_INL_H
#undef ZARNIK_LAYOUT_STREAM_BYTES_INL_H
#else
#define ZARNIK_LAYOUT_STREAM_BYTES_INL_H
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace zarnik::layout::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

inline constexpr size_t LINE_BYTES = 64;

/// A vector of at most one cache line. Where the width is only known at run time it is 16 bytes, so that sizes stay
/// constants everywhere.
template <typename T> using LineTag = hn::CappedTag<T, (HWY_HAVE_SCALABLE ? 16 : LINE_BYTES) / sizeof(T)>;

/// Copies fewer than 64 bytes without a call, as two moves that may overlap.
HWY_INLINE void copySmall(std::byte * to, std::byte const * from, size_t bytes) {
  auto const twice = [&](auto unit) {
    decltype(unit) first, last;
    std::memcpy(&first, from, sizeof unit);
    std::memcpy(&last, from + bytes - sizeof unit, sizeof unit);
    std::memcpy(to, &first, sizeof unit);
    std::memcpy(to + bytes - sizeof unit, &last, sizeof unit);
  };
  struct Bytes16 {
    uint64_t low, high;
  };
  struct Bytes32 {
    Bytes16 low, high;
  };
  if (bytes >= 16) {
    bytes >= 32 ? twice(Bytes32{}) : twice(Bytes16{});
  } else if (bytes >= 4) {
    bytes >= 8 ? twice(uint64_t{}) : twice(uint32_t{});
  } else if (bytes != 0) {
    bytes >= 2 ? twice(uint16_t{}) : twice(uint8_t{});
  }
}

/// Copies bytes around the caches: whole lines of the destination are written with non-temporal stores, the rest of
/// its first and last line with ordinary ones, since a line that is written in two parts by non-temporal stores costs
/// a read as well. The caller ends with hwy::FlushStream().
HWY_INLINE void streamBytes(std::byte * to, std::byte const * from, size_t bytes) {
  LineTag<uint8_t> const d;
  size_t const head = (uintptr_t{0} - reinterpret_cast<uintptr_t>(to)) % LINE_BYTES;
  if (bytes < head + LINE_BYTES) {
    std::memcpy(to, from, bytes);
    return;
  }
  copySmall(to, from, head);
  auto * line = reinterpret_cast<uint8_t *>(to + head);
  auto const * next = reinterpret_cast<uint8_t const *>(from + head);
  size_t const lines = (bytes - head) / LINE_BYTES;
  for (size_t n = 0; n < lines; ++n, line += LINE_BYTES, next += LINE_BYTES) {
    for (size_t part = 0; part < LINE_BYTES; part += hn::Lanes(d)) {
      hn::Stream(hn::LoadU(d, next + part), d, line + part);
    }
  }
  copySmall(reinterpret_cast<std::byte *>(line), reinterpret_cast<std::byte const *>(next),
            (bytes - head) % LINE_BYTES);
}

} // namespace zarnik::layout::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
#endif
