#define ZARNIK_HASH_UNIT "portable"
#define ZARNIK_HASH_KERNELS PORTABLE_HASH_KERNELS
#include "serialization/HashKernels-inl.h"

namespace zarnik::format {

std::vector<HashKernels const *> hashKernels() {
  std::vector<HashKernels const *> found{&PORTABLE_HASH_KERNELS};
#ifdef __x86_64__
  if (__builtin_cpu_supports("avx2"))
    found.insert(found.begin(), &AVX2_HASH_KERNELS);
  if (__builtin_cpu_supports("avx512f"))
    found.insert(found.begin(), &AVX512_HASH_KERNELS);
#endif
  return found;
}

} // namespace zarnik::format
