#include "zarnik/values/Checked.h"

#include "core/Guarded.h"

#include <cstdlib>
#include <fmt/format.h>
#include <limits>
#include <sys/mman.h>

namespace zarnik {
namespace {

constexpr uint64_t PAGE_BYTES = 4096;
constexpr uint64_t HUGE_PAGES_FROM_BYTES = 4 << 20;

/// Large memory in large pages: fetching it by small ones takes longer than filling it. Advice, so it may fail.
void preferHugePages([[maybe_unused]] void * memory, [[maybe_unused]] uint64_t bytes) {
#ifdef MADV_HUGEPAGE
  auto const skipped = (PAGE_BYTES - reinterpret_cast<uintptr_t>(memory) % PAGE_BYTES) % PAGE_BYTES;
  ::madvise(static_cast<char *>(memory) + skipped, bytes - skipped, MADV_HUGEPAGE);
#endif
}

} // namespace

uint64_t checkedMultiply(uint64_t left, uint64_t right, char const * what) {
  if (left != 0 && right > std::numeric_limits<uint64_t>::max() / left)
    throw InvalidArgument(message("{} do not fit 64 bits: {} * {}", what, left, right));
  return left * right;
}

uint64_t checkedAdd(uint64_t left, uint64_t right, char const * what) {
  if (right > std::numeric_limits<uint64_t>::max() - left)
    throw InvalidArgument(message("{} do not fit 64 bits: {} + {}", what, left, right));
  return left + right;
}

namespace detail {

void throwIndexBeyond(char const * what, size_t index, size_t size) {
  if (size == 0)
    throw InvalidArgument(message("{} index {} is out of range, there is none", what, index));
  throw InvalidArgument(message("{} index {} is out of range, allowed are 0 to {}", what, index, size - 1));
}

void throwSizeMismatch(char const * what, size_t left, size_t right) {
  throw InvalidArgument(message("{} differ in number: {} and {}", what, left, right));
}

void * allocateZeroed(uint64_t count, uint64_t bytesEach, char const * what) {
  auto const bytes = checkedMultiply(count, bytesEach, "bytes to allocate");
  // malloc(0) may be null, which is no failure.
  auto * const memory = bytes > std::numeric_limits<size_t>::max() ? nullptr : std::calloc(bytes == 0 ? 1 : bytes, 1);
  if (memory == nullptr)
    throw Error(message("cannot allocate {} bytes for {}", bytes, what));
  if (bytes >= HUGE_PAGES_FROM_BYTES)
    preferHugePages(memory, bytes);
  return memory;
}

void freeZeroed(void * memory) noexcept { std::free(memory); }

} // namespace detail

} // namespace zarnik
