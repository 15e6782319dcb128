#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>
#include <cstdint>

namespace zarnik {

/// Multiplies two sizes.
/// \param what  what the product counts, for the message, such as "bytes of the buffer"
/// \throws InvalidArgument when the product does not fit 64 bits
ZARNIK_API uint64_t checkedMultiply(uint64_t left, uint64_t right, char const * what);

/// Adds two sizes.
/// \param what  what the sum counts, for the message
/// \throws InvalidArgument when the sum does not fit 64 bits
ZARNIK_API uint64_t checkedAdd(uint64_t left, uint64_t right, char const * what);

namespace detail {

// Out of line and cold: the inline accessors stay small.
[[noreturn]] ZARNIK_API void throwIndexBeyond(char const * what, size_t index, size_t size);
[[noreturn]] ZARNIK_API void throwSizeMismatch(char const * what, size_t left, size_t right);

// Zeroed memory; the kernel hands it out lazily, so a large request costs only what is touched.
// Throws Error naming the bytes when it cannot be had. Freed with freeZeroed.
ZARNIK_API void * allocateZeroed(uint64_t count, uint64_t bytesEach, char const * what);
ZARNIK_API void freeZeroed(void * memory) noexcept;

} // namespace detail

} // namespace zarnik
