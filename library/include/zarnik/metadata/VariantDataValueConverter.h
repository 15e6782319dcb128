#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zarnik {

class VariantDataValue;

/// Reads elements of variant values whatever their stored type. Nothing is rounded, wrapped or truncated.
class ZARNIK_API VariantDataValueConverter {
public:
  /// Read a number as a signed integer.
  /// \param value The value to read.
  /// \param index Which element, below value.count().
  /// \throws InvalidArgument when there is no such element, or it is text, fractional or out of range.
  static int64_t toInt64(VariantDataValue const & value, size_t index = 0);

  /// Read a number as an unsigned integer; arguments and errors are those of toInt64.
  static uint64_t toUInt64(VariantDataValue const & value, size_t index = 0);

  /// Read a number as a double. Integers beyond 53 bits come back as the nearest double.
  /// \throws InvalidArgument when there is no such element, or it is text.
  static double toDouble(VariantDataValue const & value, size_t index = 0);

  /// Read an element as UTF-8 text: strings of any width as they are, numbers in the shortest form that reads back
  /// to the same value. Code units that are no Unicode text become U+FFFD.
  /// \throws InvalidArgument when there is no such element.
  static std::string toText(VariantDataValue const & value, size_t index = 0);
};

} // namespace zarnik
