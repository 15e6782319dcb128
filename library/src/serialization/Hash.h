#pragma once

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstddef>
#include <cstdint>

namespace zarnik::format {

inline uint64_t hashOf(void const * bytes, size_t size) { return XXH3_64bits(bytes, size); }

/// The hash of a block that comes in parts.
class RunningHash {
public:
  RunningHash() { restart(); }
  void restart() { XXH3_64bits_reset(&state_); }
  void add(void const * bytes, size_t size) { XXH3_64bits_update(&state_, bytes, size); }
  uint64_t value() const { return XXH3_64bits_digest(&state_); }

private:
  XXH3_state_t state_;
};

} // namespace zarnik::format
