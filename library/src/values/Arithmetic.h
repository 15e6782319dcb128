#pragma once

#include "core/Guarded.h"

#include <cstdint>
#include <fmt/format.h>
#include <limits>
#include <type_traits>

// Arithmetic of one element that is defined for all values: integers wrap around, quotients that do not exist throw.
namespace zarnik::arithmetic {

// Unsigned and at least as wide as int, so that products of narrow types are not promoted to (overflowing) int.
template <typename T> using Wrapping = std::make_unsigned_t<std::conditional_t<(sizeof(T) < sizeof(int)), int, T>>;

template <typename T, typename Operation> T wrap(T left, T right, Operation operation) {
  if constexpr (std::is_integral_v<T>)
    return static_cast<T>(operation(static_cast<Wrapping<T>>(left), static_cast<Wrapping<T>>(right)));
  else
    return operation(left, right);
}

template <typename T> T add(T left, T right) {
  return wrap(left, right, [](auto a, auto b) { return a + b; });
}

template <typename T> T subtract(T left, T right) {
  return wrap(left, right, [](auto a, auto b) { return a - b; });
}

template <typename T> T multiply(T left, T right) {
  return wrap(left, right, [](auto a, auto b) { return a * b; });
}

// Not 0 - value: the negative of the float 0 is -0.
template <typename T> T negate(T value) {
  if constexpr (std::is_integral_v<T>)
    return subtract(T{0}, value);
  else
    return -value;
}

template <typename T> void requireQuotient(T left, T right) {
  if constexpr (std::is_integral_v<T>) {
    if (right == 0)
      throw InvalidArgument(message("integer division of {} by zero", +left));
    if constexpr (std::is_signed_v<T>) {
      if (right == -1 && left == std::numeric_limits<T>::min())
        throw InvalidArgument(
            message("integer division of {} by -1 exceeds {}", +left, +std::numeric_limits<T>::max()));
    }
  }
}

} // namespace zarnik::arithmetic
