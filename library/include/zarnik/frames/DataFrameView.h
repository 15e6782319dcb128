#pragma once

#include "zarnik/frames/DataFrameCapability.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/Vector.h"
#include "zarnik/views/View.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#ifndef SWIG
#include <vector>
#endif

namespace zarnik {

#ifndef SWIG
/// The cells of a numeric column, dense and in the order of the rows.
struct ColumnMemory {
  /// The first cell; holds the memory, whatever becomes of the frame. Null when the column shares no memory.
  std::shared_ptr<void> cells;
  /// False when the memory belongs to somebody who does not expect it to change.
  bool writable = false;
};

/// The cells of a text column, one behind the other: cell i is bytes[offsets[i], offsets[i + 1]).
struct TextCells {
  /// One more than there are cells, the first 0.
  std::vector<uint64_t> offsets{0};
  /// UTF-8.
  std::string bytes;
};
#endif

/// A table: named columns of equal length, each with a data type and a unit.
///
/// A column holds numbers, of one component each, or texts (type UTF8_STRING). Names are unique and not empty.
/// An operation that a table does not have the capability for raises NotImplemented; one that fails changes nothing.
/// Queries and reads may run on several threads at once while nothing changes the table.
class ZARNIK_API DataFrameView : public View {
public:
  /// Destroy the data frame view.
  ~DataFrameView() override;

#ifndef SWIG
  /// Whether the table offers all of the given capabilities.
  bool support(DataFrameCapabilitySet capabilities) const;
#endif

  /// Return the view's capabilities
  /// \return What the table can do, one flag each.
  virtual DataFrameCapabilitySet capabilities() const = 0;

  /// First element being the number of columns, and the second, the number of rows.
  /// \return The number of columns and the number of rows.
  virtual Vector2u64 shape() ZARNIK_QUERY = 0;

  /// Return the name of a column.
  /// \param index Index of the column, below the number of columns.
  /// \return The name, which no other column has.
  /// \throws Error if the index is out of range.
  virtual std::string columnName(size_t index) ZARNIK_QUERY = 0;

  /// Return the index of the column of the given name.
  /// \param name The name, case matters.
  /// \return The index, from 0.
  /// \throws Error if there is no such column.
  virtual size_t columnIndex(std::string const & name) ZARNIK_QUERY = 0;

  /// Return the data type of the cells of a column.
  /// \param index Index of the column, below the number of columns.
  /// \return A numeric type of one component, or UTF8_STRING.
  /// \throws Error when the index is out of range.
  virtual DataType columnDataType(size_t index) ZARNIK_QUERY = 0;

#ifndef SWIG
  /// Copy cells of a column.
  /// Needs the capability READ.
  /// \param column      index of the column
  /// \param offset      first row
  /// \param count       number of rows; 0 reads nothing
  /// \param destination receives count * columnDataType(column).byteCount() bytes of a numeric column; for a text
  ///                    column it points to the first of `count` std::string, which are replaced
  /// \throws InvalidArgument if the column or the rows are out of range, or the destination is null
  /// \throws NotImplemented if the table cannot be read
  virtual void read(size_t column, size_t offset, size_t count, void * destination) const = 0;

  /// Change cells of a column.
  /// Needs the capability WRITE.
  /// \param column index of the column
  /// \param offset first row
  /// \param count  number of rows; 0 writes nothing
  /// \param source count * columnDataType(column).byteCount() bytes for a numeric column; for a text column the first
  ///               of `count` std::string in UTF-8
  /// \throws InvalidArgument if the column or the rows are out of range, the source is null or a text is not UTF-8
  /// \throws NotImplemented if the table cannot be written
  virtual void write(size_t column, size_t offset, size_t count, void const * source);
#endif

  /// Return the unit of a column.
  /// \param index Index of the column, below the number of columns.
  /// \return The name of the unit, such as "mm"; empty for none.
  /// \throws Error if the index is out of range.
  virtual std::string unit(size_t index) ZARNIK_QUERY = 0;

  /// Change the unit of a column.
  ///
  /// Needs the capability WRITE. The cells stay as they are.
  /// \param index Index of the column, below the number of columns.
  /// \param unit The name of the unit, empty for none.
  /// \throws Error if the index is out of range.
  /// \throws NotImplemented If the table cannot be written.
  virtual void setUnit(size_t index, std::string const & unit);

  /// Add a column behind the last one, its cells 0 or empty texts, without a unit.
  ///
  /// Needs the capability RESHAPE.
  /// \param name The name, not empty, which no column has yet.
  /// \param dtype A numeric type of one component, or UTF8_STRING.
  /// \throws Error if the name is taken or empty, or the type is not supported.
  /// \throws NotImplemented If the table cannot be reshaped.
  virtual void addColumn(std::string const & name, DataType dtype);

  /// Insert rows, their cells 0 or empty texts.
  ///
  /// Needs the capability RESHAPE.
  /// \param offset The row before which they are inserted; the number of rows appends them.
  /// \param count How many rows.
  /// \throws Error if the offset is out of range, or there is not enough memory.
  /// \throws NotImplemented If the table cannot be reshaped.
  virtual void addRows(size_t offset, size_t count);

  /// Remove a column.
  ///
  /// Needs the capability RESHAPE. The columns behind it move up, the number of rows stays.
  /// \param index Index of the column, below the number of columns.
  /// \throws Error if the index is out of range.
  /// \throws NotImplemented If the table cannot be reshaped.
  virtual void removeColumn(size_t index);

  /// Remove rows.
  ///
  /// Needs the capability RESHAPE. The rows behind them move up.
  /// \param offset The first row to remove.
  /// \param count How many rows.
  /// \throws Error if there are not that many rows from the offset on.
  /// \throws NotImplemented If the table cannot be reshaped.
  virtual void removeRows(size_t offset, size_t count);

#ifndef SWIG
  /// Make new columns in place of the old ones, all cells 0 or empty texts, without units.
  /// Needs the capability RESHAPE.
  /// \param shape     number of columns and number of rows, neither 0
  /// \param names     as many names as columns, not empty and all different
  /// \param dataTypes as many data types as columns, numeric of one component or UTF8_STRING
  /// \throws InvalidArgument if a size is 0, a name is empty or taken, a type is not supported or a pointer is null
  /// \throws Error if there is not enough memory
  /// \throws NotImplemented if the table cannot be reshaped
  virtual void reshape(Vector2u64 const & shape, std::string const * names, DataType const * dataTypes);

  /// The memory of a numeric column, to be read and changed in place. Memory that was handed out shows the rows that
  /// there were at that time: it is never freed or moved under its holder, but the column may move away from it when
  /// rows are inserted or removed.
  /// \return null cells when the column is no numeric one or the table has no memory to share
  /// \throws InvalidArgument if the index is out of range
  virtual ColumnMemory columnMemory(size_t column);

  /// Copy cells of a text column at once, without a string for each.
  /// \throws as read() does, and InvalidArgument if the column is no text column
  virtual TextCells readText(size_t column, size_t offset, size_t count) const;

  /// Change cells of a text column at once.
  /// \param offsets count + 1 positions in `bytes`, none below the one before it
  /// \throws as write() does, and InvalidArgument if the column is no text column or an offset is below another
  virtual void writeText(size_t column, size_t offset, size_t count, uint64_t const * offsets, char const * bytes);
#endif

  /// Return a string representation
  /// \return Shape, capabilities and the columns with types and units, in one line.
  std::string toString() const;
};

} // namespace zarnik
