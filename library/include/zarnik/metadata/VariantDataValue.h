#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/values/DataType.h"
#endif

#include <cstddef>
#include <memory>

namespace zarnik {

/// Typed value of a metadata node: one or more elements of one type, numbers or Unicode strings.
///
/// A value never changes once made, so nodes may share it and threads may read it at once.
class ZARNIK_API VariantDataValue {
public:
  /// Destroy the value and its elements.
  virtual ~VariantDataValue();

  /// Copies this value.
  /// \return A new value with elements of its own.
  virtual std::shared_ptr<VariantDataValue> clone() const = 0;

  /// Returns the type of the values stored.
  /// \return A scalar numeric type, or the string type of the characters' width.
  virtual DataType type() const = 0;

  /// Returns the number of values of the specified type stored.
  /// \return At least 1.
  virtual size_t count() const = 0;

  /// Returns a pointer to the location where all the values are stored continuously.
  ///
  /// Numbers stand side by side, each as wide as the type's bit depth and aligned for it.
  /// Strings are an array of pointers to zero-terminated characters.
  /// The location is valid as long as the value lives.
  /// See VariantDataValueConverter to read an element whatever its type.
  /// \return The address of the first element.
  virtual void const * raw() const = 0;

#ifndef SWIG
protected:
  VariantDataValue() = default;
  VariantDataValue(VariantDataValue const &) = default;
  VariantDataValue & operator=(VariantDataValue const &) = default;
#endif
};

} // namespace zarnik
