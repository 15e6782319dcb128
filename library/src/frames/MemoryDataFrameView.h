#pragma once

#include "frames/Column.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/frames/DataFrameViewFactory.h"
#include "zarnik/views/ColumnUnitExtension.h"

#include <unordered_map>
#include <vector>

namespace zarnik {

/// A table whose columns lie in memory, each on its own.
class MemoryDataFrameView : public DataFrameView {
public:
  MemoryDataFrameView();
  MemoryDataFrameView(uint64_t rowCount, std::vector<ColumnSource> const & columns);
  ~MemoryDataFrameView() override;

  std::shared_ptr<Extension> extension(size_t id) const override;
  DataFrameCapabilitySet capabilities() const override;
  Vector2u64 shape() const override;
  std::string columnName(size_t index) const override;
  size_t columnIndex(std::string const & name) const override;
  DataType columnDataType(size_t index) const override;
  void read(size_t column, size_t offset, size_t count, void * destination) const override;
  void write(size_t column, size_t offset, size_t count, void const * source) override;
  std::string unit(size_t index) const override;
  void setUnit(size_t index, std::string const & unit) override;
  void addColumn(std::string const & name, DataType dtype) override;
  void addRows(size_t offset, size_t count) override;
  void removeColumn(size_t index) override;
  void removeRows(size_t offset, size_t count) override;
  void reshape(Vector2u64 const & shape, std::string const * names, DataType const * dataTypes) override;
  ColumnMemory columnMemory(size_t column) override;
  TextCells readText(size_t column, size_t offset, size_t count) const override;
  void writeText(size_t column, size_t offset, size_t count, uint64_t const * offsets, char const * bytes) override;

private:
  class Units;

  struct NamedColumn {
    std::string name;
    std::unique_ptr<Column> cells;
  };

  /// Columns and what finds them, which change together.
  struct Table {
    void add(std::string const & name, DataType dataType, std::string const & unit, std::shared_ptr<void const> cells);

    uint64_t rowCount = 0;
    std::vector<NamedColumn> columns;
    std::unordered_map<std::string, size_t> indices;
    std::vector<std::string> units;
  };

  Column & cells(size_t column) const;
  void requireRows(size_t offset, size_t count) const;

  Table table_;
  // Extensions live on when the table is gone.
  std::shared_ptr<Units> units_;
  std::shared_ptr<Extension> origin_;
};

} // namespace zarnik
