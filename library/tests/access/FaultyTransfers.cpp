#include "access/FaultyTransfers.h"

#include <cerrno>
#include <dlfcn.h>
#include <unistd.h>

namespace {

struct Faults {
  bool areOn = false;
  bool isInterruptedNext = false;
  size_t untilError = 0;
  size_t interrupted = 0;
  size_t shortened = 0;
};
thread_local Faults faults;

// What is left of a transfer, and -1 for a failure.
template <typename Transfer> ssize_t transferFaultily(size_t size, Transfer const & transfer) {
  if (!faults.areOn)
    return transfer(size);
  faults.isInterruptedNext = !faults.isInterruptedNext;
  if (faults.isInterruptedNext) {
    ++faults.interrupted;
    errno = EINTR;
    return -1;
  }
  if (faults.untilError-- == 0) {
    errno = EIO;
    return -1;
  }
  faults.shortened += size > 1 ? 1 : 0;
  return transfer(size - size / 3);
}

template <typename Function> Function systemsOwn(char const * name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// Stand before those of the system for all that is linked into the tests.
extern "C" ssize_t pread(int file, void * to, size_t size, off_t offset) {
  static auto const own = systemsOwn<ssize_t (*)(int, void *, size_t, off_t)>("pread");
  return transferFaultily(size, [&](size_t count) { return own(file, to, count, offset); });
}

extern "C" ssize_t pwrite(int file, void const * from, size_t size, off_t offset) {
  static auto const own = systemsOwn<ssize_t (*)(int, void const *, size_t, off_t)>("pwrite");
  return transferFaultily(size, [&](size_t count) { return own(file, from, count, offset); });
}

namespace zarnik::test {

FaultyTransfers::FaultyTransfers(size_t callsUntilError) { faults = {.areOn = true, .untilError = callsUntilError}; }
FaultyTransfers::~FaultyTransfers() { faults.areOn = false; }

size_t FaultyTransfers::interrupted() const { return faults.interrupted; }
size_t FaultyTransfers::shortened() const { return faults.shortened; }

} // namespace zarnik::test
