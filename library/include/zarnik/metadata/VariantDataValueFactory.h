#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/metadata/VariantDataValue.h"
#endif

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zarnik {

/// Makes variant values. The elements are copied, the caller's memory may go afterwards.
class ZARNIK_API VariantDataValueFactory {
public:
  /// Create a value from an array of unsigned 8-bit integers.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type UINT8.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(uint8_t const * values, size_t count);

  /// Create a value from an array of unsigned 16-bit integers.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type UINT16.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(uint16_t const * values, size_t count);

  /// Create a value from an array of unsigned 32-bit integers.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type UINT32.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(uint32_t const * values, size_t count);

  /// Create a value from an array of unsigned 64-bit integers.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type UINT64.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(uint64_t const * values, size_t count);

  /// Create a value from an array of signed 8-bit integers.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type INT8.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(int8_t const * values, size_t count);

  /// Create a value from an array of signed 16-bit integers.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type INT16.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(int16_t const * values, size_t count);

  /// Create a value from an array of signed 32-bit integers.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type INT32.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(int32_t const * values, size_t count);

  /// Create a value from an array of signed 64-bit integers.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type INT64.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(int64_t const * values, size_t count);

  /// Create a value from an array of floats.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type FLOAT.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(float const * values, size_t count);

  /// Create a value from an array of doubles.
  /// \param values The first element.
  /// \param count  How many elements to copy, at least 1.
  /// \return A new value of type DOUBLE.
  /// \throws Error if there is no element to copy.
  static std::shared_ptr<VariantDataValue> create(double const * values, size_t count);

  /// Create a value from an array of zero-terminated UTF-8 strings.
  /// \param values The first string.
  /// \param count  How many strings to copy, at least 1.
  /// \return A new value of type UTF8_STRING.
  /// \throws Error if there is no string to copy, or one of them is null.
  static std::shared_ptr<VariantDataValue> create(char const ** values, size_t count);

#ifndef SWIG
  /// Create a value from an array of zero-terminated UTF-16 strings, in native byte order.
  static std::shared_ptr<VariantDataValue> create(char16_t const ** values, size_t count);

  /// Create a value from an array of zero-terminated UTF-32 strings, in native byte order.
  static std::shared_ptr<VariantDataValue> create(char32_t const ** values, size_t count);

  /// Create a value of one signed 32-bit integer.
  static std::shared_ptr<VariantDataValue> create(int value);

  /// Create a value of one double.
  static std::shared_ptr<VariantDataValue> create(double value);

  /// Create a value of one UTF-8, UTF-16 or UTF-32 string.
  /// \param value Zero-terminated characters; the first zero ends the string.
  /// \throws InvalidArgument for a null pointer.
  static std::shared_ptr<VariantDataValue> create(char const * value);
  static std::shared_ptr<VariantDataValue> create(char16_t const * value);
  static std::shared_ptr<VariantDataValue> create(char32_t const * value);
#endif
};

} // namespace zarnik
