#pragma once

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zarnik::format {

/// What takes time in hashing, compiled for one vector unit. All give the same values.
struct HashKernels {
  char const * unit;
  void (*add)(XXH3_state_t * state, void const * bytes, size_t size);
  /// Copies the bytes too, around the caches and in one go over the memory. Source and destination do not overlap.
  void (*addStreaming)(XXH3_state_t * state, void * destination, void const * source, size_t size);
};

extern HashKernels const PORTABLE_HASH_KERNELS;
#ifdef __x86_64__
extern HashKernels const AVX2_HASH_KERNELS;
extern HashKernels const AVX512_HASH_KERNELS;
#endif

/// The kernels that this processor runs, best first.
std::vector<HashKernels const *> hashKernels();

inline uint64_t hashOf(void const * bytes, size_t size) { return XXH3_64bits(bytes, size); }

/// The hash of a block that comes in parts.
class RunningHash {
public:
  RunningHash() : RunningHash(*best()) {}
  explicit RunningHash(HashKernels const & kernels) : kernels_(&kernels) { restart(); }
  void restart() { XXH3_64bits_reset(&state_); }
  void add(void const * bytes, size_t size) { kernels_->add(&state_, bytes, size); }
  void addStreaming(void * destination, void const * source, size_t size) {
    kernels_->addStreaming(&state_, destination, source, size);
  }
  uint64_t value() const { return XXH3_64bits_digest(&state_); }

private:
  static HashKernels const * best() {
    static auto const * const kernels = hashKernels().front();
    return kernels;
  }

  HashKernels const * kernels_;
  XXH3_state_t state_;
};

} // namespace zarnik::format
