#pragma once

#include <cstddef>
#include <cstdint>

namespace zarnik::test {

/// While it lives, what this thread reads and writes in files at offsets is a nuisance, as systems may be: every second
/// call is interrupted by a signal, and what the others transfer is less than was asked for.
class FaultyTransfers {
public:
  /// \param callsUntilError how many calls that transfer something come before one that fails with EIO
  explicit FaultyTransfers(size_t callsUntilError = SIZE_MAX);
  ~FaultyTransfers();
  FaultyTransfers(FaultyTransfers const &) = delete;
  FaultyTransfers & operator=(FaultyTransfers const &) = delete;

  /// Calls that were interrupted, and those that transferred less than they were to.
  size_t interrupted() const;
  size_t shortened() const;
};

} // namespace zarnik::test
