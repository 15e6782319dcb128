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
constexpr size_t PIECE_BYTES = 512;
constexpr size_t LINE_BYTES = 64;
// The processor fetches ahead by itself, but not beyond a page, and more from several places than from one.
constexpr size_t FETCHED_AHEAD_BYTES = 4096;
constexpr size_t BLOCKS_AT_ONCE = 2;

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

inline size_t bytesBeforeLine(char const * bytes, size_t size) {
  size_t const before = (uintptr_t{0} - reinterpret_cast<uintptr_t>(bytes)) % LINE_BYTES;
  return before < size ? before : size;
}

/// Copies the whole lines that end in a piece of a block.
inline void copyPiece(char * to, char const * from, size_t begin, size_t end, size_t size) {
  size_t const before = bytesBeforeLine(to, size);
  for (size_t copied = begin < before ? before : begin - (begin - before) % LINE_BYTES; copied + LINE_BYTES <= end;
       copied += LINE_BYTES) {
    if (size - copied > FETCHED_AHEAD_BYTES)
      _mm_prefetch(from + copied + FETCHED_AHEAD_BYTES, _MM_HINT_T0);
    streamLine(to + copied, from + copied);
  }
}

inline void copyEnds(char * to, char const * from, size_t size) {
  size_t const before = bytesBeforeLine(to, size);
  size_t const behind = (size - before) % LINE_BYTES;
  memcpy(to, from, before);
  memcpy(to + size - behind, from + size - behind, behind);
}

inline void endCopies() { _mm_sfence(); }

#else

inline void copyPiece(char * to, char const * from, size_t begin, size_t end, size_t) {
  memcpy(to + begin, from + begin, end - begin);
}
inline void copyEnds(char *, char const *, size_t) {}
inline void endCopies() {}

#endif

void copyBlocks(void * destination, void const * source, size_t blockBytes, size_t blocks, uint64_t * hashes) {
  auto * to = static_cast<char *>(destination);
  auto const * from = static_cast<char const *>(source);
  XXH3_state_t states[BLOCKS_AT_ONCE];
  while (blocks != 0) {
    size_t const count = blocks < BLOCKS_AT_ONCE ? blocks : BLOCKS_AT_ONCE;
    for (size_t block = 0; block != count; ++block)
      XXH3_64bits_reset(&states[block]);
    for (size_t begin = 0; begin < blockBytes; begin += PIECE_BYTES) {
      size_t const end = blockBytes - begin < PIECE_BYTES ? blockBytes : begin + PIECE_BYTES;
      for (size_t block = 0; block != count; ++block) {
        XXH3_64bits_update(&states[block], from + block * blockBytes + begin, end - begin);
        copyPiece(to + block * blockBytes, from + block * blockBytes, begin, end, blockBytes);
      }
    }
    for (size_t block = 0; block != count; ++block) {
      copyEnds(to + block * blockBytes, from + block * blockBytes, blockBytes);
      hashes[block] = XXH3_64bits_digest(&states[block]);
    }
    to += count * blockBytes;
    from += count * blockBytes;
    hashes += count;
    blocks -= count;
  }
  endCopies();
}

} // namespace

HashKernels const ZARNIK_HASH_KERNELS{ZARNIK_HASH_UNIT, add, copyBlocks};

} // namespace zarnik::format
