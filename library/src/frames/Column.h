#pragma once

#include "frames/RowBuffer.h"
#include "zarnik/frames/DataFrameView.h"

namespace zarnik {

/// The cells of one column of a table in memory. Rows and offsets are checked by the table.
///
/// Changes of the number of rows come in two steps as those of RowBuffer.
class Column {
public:
  virtual ~Column();

  /// \throws InvalidArgument if the type is neither numeric of one component nor UTF8_STRING
  /// \throws Error if there is not enough memory
  static std::unique_ptr<Column> create(DataType dataType, uint64_t rowCount,
                                        std::shared_ptr<void const> cells = nullptr);

  DataType dataType() const { return dataType_; }

  virtual void read(uint64_t offset, uint64_t count, void * destination) const = 0;
  virtual void write(uint64_t offset, uint64_t count, void const * source) = 0;
  virtual ColumnMemory memory() = 0;
  /// The base class refuses both: the column holds no texts.
  virtual TextCells readText(uint64_t offset, uint64_t count) const;
  virtual void writeText(uint64_t offset, uint64_t count, uint64_t const * offsets, char const * bytes);

  virtual void prepare(uint64_t rowCount, bool movesRows) = 0;
  virtual void insert(uint64_t offset, uint64_t count) noexcept = 0;
  virtual void remove(uint64_t offset, uint64_t count) noexcept = 0;

protected:
  explicit Column(DataType dataType) : dataType_(dataType) {}

private:
  DataType dataType_;
};

} // namespace zarnik
