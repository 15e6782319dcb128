#include "core/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

// Of this thread only: the workers of the pool and the test runner allocate as ever.
thread_local int untilFailure = 0;

void * allocate(std::size_t bytes) noexcept {
  if (untilFailure > 0 && --untilFailure == 0)
    return nullptr;
  return std::malloc(bytes == 0 ? 1 : bytes);
}

} // namespace

void * operator new(std::size_t bytes) {
  if (void * const memory = allocate(bytes))
    return memory;
  throw std::bad_alloc();
}

void * operator new(std::size_t bytes, std::nothrow_t const &) noexcept { return allocate(bytes); }
void operator delete(void * memory) noexcept { std::free(memory); }
void operator delete(void * memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void * memory, std::nothrow_t const &) noexcept { std::free(memory); }

namespace zarnik::test {

FailingAllocation::FailingAllocation(int number) { untilFailure = number; }
FailingAllocation::~FailingAllocation() { untilFailure = 0; }
bool FailingAllocation::happened() const { return untilFailure == 0; }

} // namespace zarnik::test
