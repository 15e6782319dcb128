#pragma once

#include "zarnik/core/Error.h"

#include <cstdint>
#include <numeric>
#include <string>
#include <thread>
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

/// Calls act(0), act(1), ... at once, each on a thread of its own, and waits for all of them.
void onThreads(size_t count, auto const & act) {
  std::vector<std::jthread> threads;
  for (size_t number = 0; number < count; ++number)
    threads.emplace_back([&act, number] { act(number); });
}

/// How tests over several implementations are called.
inline constexpr auto nameOf = [](auto const & info) { return std::string(info.param.name); };

} // namespace zarnik::test
