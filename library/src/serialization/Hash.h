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
  /// Copies blocks of bytes around the caches and hashes each, in one go over the memory. Source and destination do
  /// not overlap.
  void (*copyBlocks)(void * destination, void const * source, size_t blockBytes, size_t blocks, uint64_t * hashes);
};

extern HashKernels const PORTABLE_HASH_KERNELS;
#ifdef __x86_64__
extern HashKernels const AVX2_HASH_KERNELS;
extern HashKernels const AVX512_HASH_KERNELS;
#endif

/// The kernels that this processor runs, best first.
std::vector<HashKernels const *> hashKernels();

inline HashKernels const & bestHashKernels() {
  static auto const * const kernels = hashKernels().front();
  return *kernels;
}

inline uint64_t hashOf(void const * bytes, size_t size) { return XXH3_64bits(bytes, size); }

/// The hash of a large block, or of one that comes in parts.
class RunningHash {
public:
  RunningHash() : RunningHash(bestHashKernels()) {}
  explicit RunningHash(HashKernels const & kernels) : kernels_(&kernels) { restart(); }
  void restart() { XXH3_64bits_reset(&state_); }
  void add(void const * bytes, size_t size) { kernels_->add(&state_, bytes, size); }
  uint64_t value() const { return XXH3_64bits_digest(&state_); }

private:
  HashKernels const * kernels_;
  XXH3_state_t state_;
};

} // namespace zarnik::format
