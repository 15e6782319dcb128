#pragma once

#include "zarnik/core/Error.h"

#include <exception>
#include <fmt/format.h>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace zarnik {

/// Returns what the action returns; memory that it cannot have becomes the library's own error. Around what a public
/// function does if it allocates.
template <typename Action> decltype(auto) guarded(Action && action) {
  try {
    return std::forward<Action>(action)();
  } catch (std::bad_alloc const &) {
    // Short enough to be kept without an allocation.
    throw Error("out of memory");
  } catch (std::length_error const &) {
    throw Error("out of memory");
  }
}

/// The text that an object describes itself by.
/// \throws Error if there is no memory for it
template <typename... Arguments>
std::string description(fmt::format_string<Arguments...> format, Arguments &&... arguments) {
  return guarded([&] { return fmt::format(format, std::forward<Arguments>(arguments)...); });
}

/// The text of an error, which is then thrown whether or not there is memory for its text.
template <typename... Arguments>
std::string message(fmt::format_string<Arguments...> format, Arguments &&... arguments) noexcept {
  try {
    return fmt::format(format, std::forward<Arguments>(arguments)...);
  } catch (std::exception const &) {
    return "out of memory"; // short enough to be kept without an allocation
  }
}

} // namespace zarnik
