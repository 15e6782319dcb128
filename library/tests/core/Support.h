#pragma once

#include "zarnik/core/Error.h"

#include <cstdint>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

namespace zarnik::test {

using Bytes = std::vector<uint8_t>;

/// The bytes 1, 2, 3, ...
inline Bytes ramp(size_t size) {
  Bytes result(size);
  std::iota(result.begin(), result.end(), uint8_t{1});
  return result;
}

/// The message of the error that an action ends in, or "accepted".
template <typename Kind = Error> std::string messageOf(auto const & action) {
  try {
    action();
  } catch (Kind const & error) {
    return error.what();
  }
  return "accepted";
}

/// How tests over several implementations are called.
inline constexpr auto nameOf = [](auto const & info) { return std::string(info.param.name); };

/// An implementation that a test is about is printed as its name.
template <typename Implementation>
requires requires(Implementation const & each) { each.name, each.make; }
std::ostream & operator<<(std::ostream & stream, Implementation const & each) { return stream << each.name; }

} // namespace zarnik::test
