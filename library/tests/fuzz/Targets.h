#pragma once

#include <cstdint>
#include <span>

namespace zarnik::test {

using FuzzInput = std::span<uint8_t const>;

/// What takes bytes from outside, fed with any bytes. Errors of the library are fine; any other exception, and
/// std::logic_error above all, tells of a fault.
struct FuzzTarget {
  char const * name; // of its folder of seeds too
  void (*run)(FuzzInput input);
};

std::span<FuzzTarget const> fuzzTargets();

} // namespace zarnik::test
