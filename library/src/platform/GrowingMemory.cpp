#include "platform/GrowingMemory.h"

#include "zarnik/values/Checked.h"

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace zarnik::platform {

namespace {

// Large pages are fetched in less time than it takes to fill them, small ones are not.
constexpr size_t LARGE_PAGE_BYTES = 2 << 20;
constexpr uint64_t MAPPED_FROM_BYTES = 2 * LARGE_PAGE_BYTES;

#ifdef __linux__
/// 0 if they are too many.
size_t wholePages(uint64_t bytes) {
  return bytes > SIZE_MAX - LARGE_PAGE_BYTES
             ? 0
             : static_cast<size_t>((bytes + LARGE_PAGE_BYTES - 1) / LARGE_PAGE_BYTES) * LARGE_PAGE_BYTES;
}
#endif

} // namespace

#ifdef __linux__

GrowingMemory::GrowingMemory(uint64_t bytes, char const * what) {
  auto const whole = bytes < MAPPED_FROM_BYTES ? 0 : wholePages(bytes);
  if (whole == 0 || !keep(::mmap(nullptr, whole, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0), whole))
    data_ = static_cast<std::byte *>(detail::allocateZeroed(bytes, 1, what));
}

GrowingMemory::~GrowingMemory() {
  if (mappedBytes_ != 0)
    ::munmap(data_, mappedBytes_);
  else
    detail::freeZeroed(data_);
}

bool GrowingMemory::grow(uint64_t bytes) noexcept {
  auto const whole = wholePages(bytes);
  return mappedBytes_ != 0 && whole != 0 && keep(::mremap(data_, mappedBytes_, whole, MREMAP_MAYMOVE), whole);
}

bool GrowingMemory::keep(void * mapped, size_t bytes) noexcept {
  if (mapped == MAP_FAILED)
    return false;
  ::madvise(mapped, bytes, MADV_HUGEPAGE);
  data_ = static_cast<std::byte *>(mapped);
  mappedBytes_ = bytes;
  return true;
}

#else

GrowingMemory::GrowingMemory(uint64_t bytes, char const * what)
    : data_(static_cast<std::byte *>(detail::allocateZeroed(bytes, 1, what))) {}

GrowingMemory::~GrowingMemory() { detail::freeZeroed(data_); }

bool GrowingMemory::grow(uint64_t) noexcept { return false; }

#endif

} // namespace zarnik::platform
