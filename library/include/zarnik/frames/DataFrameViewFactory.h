#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/Vector.h"

#include <cstdint>
#include <memory>
#include <string>

#ifndef SWIG
#include <vector>
#endif

namespace zarnik {

#ifndef SWIG
class DataFrameView;

/// A column to make a table of.
struct ColumnSource {
  /// The name, not empty and different from those of the other columns.
  std::string name;
  /// A numeric type of one component, or UTF8_STRING.
  DataType dataType;
  /// The unit, empty for none.
  std::string unit;
  /// Cells of a numeric column that somebody else holds: they are shared, and copied before the first change.
  /// Null gives memory of the table's own, filled with 0.
  std::shared_ptr<void const> cells;
};
#endif

/// Makes tables in memory.
class ZARNIK_API DataFrameViewFactory {
public:
#ifndef SWIG
  /// Create a table in memory, all cells 0 or empty texts, without units.
  /// \param shape     number of columns and number of rows, neither 0
  /// \param names     as many names as columns, not empty and all different
  /// \param dataTypes as many data types as columns, numeric of one component or UTF8_STRING
  /// \throws InvalidArgument if a size is 0, a name is empty or taken, a type is not supported or a pointer is null
  /// \throws Error if there is not enough memory
  static std::shared_ptr<DataFrameView> allocate(Vector2u64 const & shape, std::string const * names,
                                                 DataType const * dataTypes);

  /// Create a table in memory without rows and columns.
  static std::shared_ptr<DataFrameView> allocate();

  /// Create a table over columns that may lie in memory of others. Any size may be 0.
  /// \param rowCount number of cells of each column
  /// \throws InvalidArgument if a name is empty or taken, or a type is not supported
  /// \throws Error if there is not enough memory
  static std::shared_ptr<DataFrameView> create(uint64_t rowCount, std::vector<ColumnSource> const & columns);
#endif
};

} // namespace zarnik
