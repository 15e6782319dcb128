#pragma once

#include <cstdint>

namespace zarnik::layout {

// Strides may be anything, so offsets are counted modulo 2^64: nothing here overflows a signed type.

inline uint64_t magnitude(int64_t value) {
  auto const bits = static_cast<uint64_t>(value);
  return value < 0 ? uint64_t{0} - bits : bits;
}

/// Distance from the first to the last round of a loop.
inline uint64_t reach(uint64_t count, int64_t stride) { return (count - 1) * static_cast<uint64_t>(stride); }

inline int64_t negated(int64_t value) { return static_cast<int64_t>(uint64_t{0} - static_cast<uint64_t>(value)); }

template <typename Byte> Byte * moved(Byte * pointer, uint64_t distance) {
  return pointer + static_cast<int64_t>(distance);
}

} // namespace zarnik::layout
