#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace zarnik::layout {

// Conversions of one value by the rules of ConversionPlan, without branches: loops over them become vector code.

// Adding this to a double of magnitude below 2^51 leaves no bits for a fraction, so the sum is rounded to nearest, and
// its lowest bits are the integer in two's complement.
constexpr double ROUNDING_SHIFT_64 = 6755399441055744.0; // 1.5 * 2^52
constexpr float ROUNDING_SHIFT_32 = 12582912.0F;         // 1.5 * 2^23, for magnitudes below 2^22

template <typename To, typename From> inline To integerToInteger(From value) {
  using FromLimits = std::numeric_limits<From>;
  using ToLimits = std::numeric_limits<To>;
  if constexpr (std::is_signed_v<From> && !std::is_signed_v<To>) {
    value = value < 0 ? From{0} : value;
    if constexpr (FromLimits::digits > ToLimits::digits) {
      value = value > static_cast<From>(ToLimits::max()) ? static_cast<From>(ToLimits::max()) : value;
    }
  } else if constexpr (FromLimits::digits > ToLimits::digits) {
    value = value > static_cast<From>(ToLimits::max()) ? static_cast<From>(ToLimits::max()) : value;
    if constexpr (std::is_signed_v<From>) {
      value = value < static_cast<From>(ToLimits::min()) ? static_cast<From>(ToLimits::min()) : value;
    }
  }
  return static_cast<To>(value);
}

// To integers of at most 32 bits: the limits are exact in the floating point type and within reach of the shift.
template <typename To, typename From> inline To floatToInteger(From value) {
  using Limits = std::numeric_limits<To>;
  if constexpr (sizeof(To) == 8) {
    // The limits are not values of the floating point type; those next to them inwards are taken for the conversion.
    constexpr From above = std::is_signed_v<To> ? From(9223372036854775808.0) : From(18446744073709551616.0);
    constexpr From below = std::is_signed_v<To> ? -above : From(0);
    constexpr From largest = above - above / (uint64_t{1} << std::numeric_limits<From>::digits);
    auto const number = value == value ? static_cast<double>(value) : 0.0;
    double const sign = std::is_signed_v<To> ? std::copysign(4503599627370496.0, number) : 4503599627370496.0; // 2^52
    // Values from 2^52 on have no fraction.
    double const rounded = (number + sign) - sign;
    double const whole = number < 4503599627370496.0 && number > -4503599627370496.0 ? rounded : number;
    double const low = whole > static_cast<double>(below) ? whole : static_cast<double>(below);
    double const inside = low < static_cast<double>(largest) ? low : static_cast<double>(largest);
    auto const result = static_cast<To>(inside);
    return whole >= static_cast<double>(above) ? Limits::max() : result;
  } else if constexpr (std::is_same_v<From, float> && sizeof(To) == 4) {
    return floatToInteger<To>(static_cast<double>(value));
  } else {
    constexpr auto least = static_cast<From>(Limits::min());
    constexpr auto most = static_cast<From>(Limits::max());
    if constexpr (std::is_signed_v<To>) {
      value = value == value ? value : From(0);
    }
    value = value > least ? value : least; // NaN fails the comparison: 0 for unsigned types
    value = value < most ? value : most;
    if constexpr (std::is_same_v<From, float>) {
      return static_cast<To>(std::bit_cast<uint32_t>(value + ROUNDING_SHIFT_32));
    } else {
      return static_cast<To>(std::bit_cast<uint64_t>(value + ROUNDING_SHIFT_64));
    }
  }
}

template <typename To, typename From> inline To convertValue(From value) {
  if constexpr (std::is_floating_point_v<To>) {
    return static_cast<To>(value);
  } else if constexpr (std::is_floating_point_v<From>) {
    return floatToInteger<To>(value);
  } else {
    return integerToInteger<To>(value);
  }
}

} // namespace zarnik::layout
