#pragma once

#include "zarnik/views/Extension.h"

#include <cstddef>
#include <memory>
#include <string>

namespace zarnik {

/// The units of the columns of a table.
class ZARNIK_API ColumnUnitExtension : public Extension {
public:
  /// Identifier of this extension.
  static constexpr size_t EXTENSION_ID = 4;

  /// Upcast a generic extension to this specific type.
  /// \param extension The extension, may be null.
  /// \return The same object. This will be null if no upcasting is possible.
  static std::shared_ptr<ColumnUnitExtension> cast(std::shared_ptr<Extension> extension);

  /// Destroy the extension.
  ~ColumnUnitExtension() override;

  /// Return the unit of the column.
  /// \param column Index of the column.
  /// \return The name of the unit, empty for none.
  /// \throws Error if the index is out of range.
  virtual std::string unit(size_t column) const = 0;

  /// Set the unit of the column.
  /// \param column Index of the column.
  /// \param unit The unit, empty for none.
  /// \throws Error if the index is out of range.
  virtual void setUnit(size_t column, std::string const & unit) = 0;
};

} // namespace zarnik
