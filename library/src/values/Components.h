#pragma once

#include "Arithmetic.h"
#include "core/Guarded.h"

#include <cmath>
#include <cstddef>
#include <fmt/format.h>
#include <iterator>
#include <string>
#include <type_traits>

// The operations of all vectors, fixed or run-time sized, on their components.
namespace zarnik::components {

template <typename T> void add(T * left, T const * right, size_t size) {
  for (size_t i = 0; i != size; ++i)
    left[i] = arithmetic::add(left[i], right[i]);
}

template <typename T> void subtract(T * left, T const * right, size_t size) {
  for (size_t i = 0; i != size; ++i)
    left[i] = arithmetic::subtract(left[i], right[i]);
}

template <typename T> void multiply(T * left, T const * right, size_t size) {
  for (size_t i = 0; i != size; ++i)
    left[i] = arithmetic::multiply(left[i], right[i]);
}

template <typename T> void multiply(T * left, T scalar, size_t size) {
  for (size_t i = 0; i != size; ++i)
    left[i] = arithmetic::multiply(left[i], scalar);
}

// All quotients are looked at first, so that a refused division changes nothing.
template <typename T> void divide(T * left, T const * right, size_t size) {
  for (size_t i = 0; i != size; ++i)
    arithmetic::requireQuotient(left[i], right[i]);
  for (size_t i = 0; i != size; ++i)
    left[i] = static_cast<T>(left[i] / right[i]);
}

template <typename T> void divide(T * left, T scalar, size_t size) {
  for (size_t i = 0; i != size; ++i)
    arithmetic::requireQuotient(left[i], scalar);
  for (size_t i = 0; i != size; ++i)
    left[i] = static_cast<T>(left[i] / scalar);
}

template <typename T> void negate(T * values, size_t size) {
  for (size_t i = 0; i != size; ++i)
    values[i] = arithmetic::negate(values[i]);
}

template <typename T> T dot(T const * left, T const * right, size_t size) {
  T sum = 0;
  for (size_t i = 0; i != size; ++i)
    sum = arithmetic::add(sum, arithmetic::multiply(left[i], right[i]));
  return sum;
}

inline void requireThree(size_t size) {
  if (size != 3)
    throw InvalidArgument(message("cross product needs vectors of size 3, not {}", size));
}

template <typename T> void cross(T const * left, T const * right, T * result) {
  for (size_t i = 0; i != 3; ++i) {
    auto const j = (i + 1) % 3;
    auto const k = (i + 2) % 3;
    result[i] = arithmetic::subtract(arithmetic::multiply(left[j], right[k]), arithmetic::multiply(left[k], right[j]));
  }
}

template <typename T> double squaredLength(T const * values, size_t size) {
  double sum = 0;
  for (size_t i = 0; i != size; ++i)
    sum += static_cast<double>(values[i]) * static_cast<double>(values[i]);
  return sum;
}

template <typename T> double length(T const * values, size_t size) {
  auto const squared = squaredLength(values, size);
  if (std::isnormal(squared))
    return std::sqrt(squared);
  double largest = 0;
  for (size_t i = 0; i != size; ++i)
    largest = std::fmax(largest, std::fabs(static_cast<double>(values[i])));
  if (largest == 0 || !std::isfinite(largest) || std::isnan(squared))
    return std::sqrt(squared);
  double sum = 0;
  for (size_t i = 0; i != size; ++i) {
    auto const scaled = static_cast<double>(values[i]) / largest;
    sum += scaled * scaled;
  }
  return largest * std::sqrt(sum);
}

template <typename T> void normalize(T * values, size_t size) {
  auto const divisor = length(values, size);
  if (divisor == 0)
    throw InvalidArgument("cannot normalize a vector of length 0");
  for (size_t i = 0; i != size; ++i) {
    auto const component = static_cast<double>(values[i]) / divisor;
    if constexpr (std::is_integral_v<T>)
      values[i] = static_cast<T>(std::nearbyint(component));
    else
      values[i] = static_cast<T>(component);
  }
}

// Lexicographic, like Python's tuples: the first components that differ decide, also when one is not a number.
template <typename T> bool isBefore(T const * left, T const * right, size_t size, bool whenEqual) {
  for (size_t i = 0; i != size; ++i)
    if (left[i] != right[i])
      return left[i] < right[i];
  return whenEqual;
}

template <typename T> bool areEqual(T const * left, T const * right, size_t size) {
  for (size_t i = 0; i != size; ++i)
    if (left[i] != right[i])
      return false;
  return true;
}

// Up to this number of components a vector is printed whole, a longer one with this many at each end.
constexpr size_t PRINTED_WHOLE = 1000;
constexpr size_t PRINTED_ENDS = 3;

template <typename T> std::string toString(T const * values, size_t size) {
  return guarded([&] {
    std::string text = "(";
    for (size_t i = 0; i != size; ++i) {
      if (size > PRINTED_WHOLE && i == PRINTED_ENDS) {
        text += ", ...";
        i = size - PRINTED_ENDS;
      }
      fmt::format_to(std::back_inserter(text), "{}{}", i == 0 ? "" : ", ", +values[i]);
    }
    return text + ")";
  });
}

} // namespace zarnik::components
