// Included once per vector unit by a file that is compiled for it and that has named the unit and the kernels. Nothing
// of the standard library is used here: the linker might choose its inline functions for everybody.
#include "serialization/Hash.h"

#include <string.h>
#ifdef __SSE2__
#include <immintrin.h>
#endif

namespace zarnik::format {
namespace {

// What is hashed is copied while the first-level cache still has it.
constexpr size_t PIECE_BYTES = 2048;
constexpr size_t LINE_BYTES = 64;

void add(XXH3_state_t * state, void const * bytes, size_t size) { XXH3_64bits_update(state, bytes, size); }

#ifdef __SSE2__

inline void streamLine(char * to, char const * from) {
#if defined(__AVX512F__)
  _mm512_stream_si512(reinterpret_cast<__m512i *>(to), _mm512_loadu_si512(from));
#elif defined(__AVX2__)
  for (size_t part = 0; part != LINE_BYTES; part += sizeof(__m256i))
    _mm256_stream_si256(reinterpret_cast<__m256i *>(to + part),
                        _mm256_loadu_si256(reinterpret_cast<__m256i const *>(from + part)));
#else
  for (size_t part = 0; part != LINE_BYTES; part += sizeof(__m128i))
    _mm_stream_si128(reinterpret_cast<__m128i *>(to + part),
                     _mm_loadu_si128(reinterpret_cast<__m128i const *>(from + part)));
#endif
}

void addStreaming(XXH3_state_t * state, void * destination, void const * source, size_t size) {
  auto * const to = static_cast<char *>(destination);
  auto const * const from = static_cast<char const *>(source);
  size_t copied = (uintptr_t{0} - reinterpret_cast<uintptr_t>(to)) % LINE_BYTES;
  if (copied > size)
    copied = size;
  memcpy(to, from, copied);
  for (size_t hashed = 0; hashed != size;) {
    size_t const piece = size - hashed < PIECE_BYTES ? size - hashed : PIECE_BYTES;
    XXH3_64bits_update(state, from + hashed, piece);
    hashed += piece;
    for (; copied + LINE_BYTES <= hashed; copied += LINE_BYTES) {
      // The next piece comes from memory while this one goes there.
      if (size - copied > PIECE_BYTES)
        _mm_prefetch(from + copied + PIECE_BYTES, _MM_HINT_T0);
      streamLine(to + copied, from + copied);
    }
  }
  memcpy(to + copied, from + copied, size - copied);
  _mm_sfence();
}

#else

void addStreaming(XXH3_state_t * state, void * destination, void const * source, size_t size) {
  auto * to = static_cast<char *>(destination);
  auto const * from = static_cast<char const *>(source);
  while (size != 0) {
    size_t const piece = size < PIECE_BYTES ? size : PIECE_BYTES;
    XXH3_64bits_update(state, from, piece);
    memcpy(to, from, piece);
    to += piece;
    from += piece;
    size -= piece;
  }
}

#endif

} // namespace

HashKernels const ZARNIK_HASH_KERNELS{ZARNIK_HASH_UNIT, add, addStreaming};

} // namespace zarnik::format
