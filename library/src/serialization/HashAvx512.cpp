#ifdef __x86_64__

// What GCC takes for uninitialized is an operand that its own header leaves out on purpose.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#define ZARNIK_HASH_UNIT "AVX-512"
#define ZARNIK_HASH_KERNELS AVX512_HASH_KERNELS
#include "serialization/HashKernels-inl.h"

#endif
