#ifdef __x86_64__

#define ZARNIK_HASH_UNIT "AVX2"
#define ZARNIK_HASH_KERNELS AVX2_HASH_KERNELS
#include "serialization/HashKernels-inl.h"

#endif
