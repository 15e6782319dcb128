#include "frames/MemoryDataFrameView.h"

#include "core/Guarded.h"
#include "core/Utf8.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>
#include <new>
#include <stdexcept>

namespace zarnik {
namespace {

void requireUtf8(char const * what, std::string const & text) {
  if (!isUtf8(text))
    throw InvalidArgument(fmt::format("{} of {} bytes is not UTF-8", what, text.size()));
}

// Runs what allocates: running out of memory is an error as others are.
template <typename Function> auto withinMemory(Function function) {
  try {
    return function();
  } catch (std::bad_alloc const &) {
    throw Error("not enough memory for the columns of a table");
  } catch (std::length_error const &) {
    throw Error("not enough memory for the columns of a table");
  }
}

} // namespace

class MemoryDataFrameView::Units : public ColumnUnitExtension {
public:
  std::string unit(size_t column) const override { return names[checked(column)]; }

  void setUnit(size_t column, std::string const & unit) override {
    auto & name = names[checked(column)];
    requireUtf8("the unit", unit);
    withinMemory([&] { name = unit; });
  }

  std::vector<std::string> names;

private:
  size_t checked(size_t column) const {
    if (column >= names.size())
      detail::throwIndexBeyond("column", column, names.size());
    return column;
  }
};

void MemoryDataFrameView::Table::add(std::string const & name, DataType dataType, std::string const & unit,
                                     std::shared_ptr<void const> memory) {
  if (name.empty())
    throw InvalidArgument("the name of a column is empty");
  requireUtf8("the name of a column", name);
  requireUtf8("the unit", unit);
  if (auto const found = indices.find(name); found != indices.end())
    throw InvalidArgument(fmt::format("column {} is named \"{}\" already", found->second, name));
  NamedColumn column{name, Column::create(dataType, rowCount, std::move(memory))};
  // Twice the room at once, as push_back would have it.
  if (columns.size() == columns.capacity())
    columns.reserve(2 * columns.size() + 1);
  if (units.size() == units.capacity())
    units.reserve(2 * units.size() + 1);
  std::string ownUnit(unit);
  indices.emplace(name, columns.size());

  // Nothing below this line fails.
  columns.push_back(std::move(column));
  units.push_back(std::move(ownUnit));
}

MemoryDataFrameView::MemoryDataFrameView() : MemoryDataFrameView(0, {}) {}

MemoryDataFrameView::MemoryDataFrameView(uint64_t rowCount, std::vector<ColumnSource> const & columns)
    : units_(std::make_shared<Units>()),
      origin_(ViewOriginExtension::create(ViewDataOrigin::CPU_MEMORY, "data frame in memory")) {
  withinMemory([&] {
    table_.rowCount = rowCount;
    for (auto const & column : columns)
      table_.add(column.name, column.dataType, column.unit, column.cells);
  });
  units_->names.swap(table_.units);
}

MemoryDataFrameView::~MemoryDataFrameView() = default;

std::shared_ptr<Extension> MemoryDataFrameView::extension(size_t id) const {
  return guarded([&]() -> std::shared_ptr<Extension> {
    switch (id) {
    case ViewOriginExtension::EXTENSION_ID:
      return origin_;
    case ColumnUnitExtension::EXTENSION_ID:
      return units_;
    default:
      return nullptr;
    }
  });
}

DataFrameCapabilitySet MemoryDataFrameView::capabilities() const {
  using enum DataFrameCapability;
  return READ | WRITE | RESHAPE;
}

Vector2u64 MemoryDataFrameView::shape() const { return {table_.columns.size(), table_.rowCount}; }

Column & MemoryDataFrameView::cells(size_t column) const {
  if (column >= table_.columns.size())
    detail::throwIndexBeyond("column", column, table_.columns.size());
  return *table_.columns[column].cells;
}

void MemoryDataFrameView::requireRows(size_t offset, size_t count) const {
  if (offset > table_.rowCount || count > table_.rowCount - offset)
    throw InvalidArgument(
        fmt::format("row {} + {} rows exceeds the {} rows of the table", offset, count, table_.rowCount));
}

std::string MemoryDataFrameView::columnName(size_t index) const {
  return guarded([&]() -> std::string {
    static_cast<void>(cells(index));
    return table_.columns[index].name;
  });
}

size_t MemoryDataFrameView::columnIndex(std::string const & name) const {
  auto const found = table_.indices.find(name);
  if (found == table_.indices.end())
    throw InvalidArgument(fmt::format("no column is named \"{}\"", name));
  return found->second;
}

DataType MemoryDataFrameView::columnDataType(size_t index) const { return cells(index).dataType(); }

void MemoryDataFrameView::read(size_t column, size_t offset, size_t count, void * destination) const {
  auto const & source = cells(column);
  requireRows(offset, count);
  if (count == 0)
    return;
  if (!destination)
    throw InvalidArgument("there is no memory to read cells into");
  withinMemory([&] { source.read(offset, count, destination); });
}

void MemoryDataFrameView::write(size_t column, size_t offset, size_t count, void const * source) {
  auto & destination = cells(column);
  requireRows(offset, count);
  if (count == 0)
    return;
  if (!source)
    throw InvalidArgument("there is no memory to write cells from");
  destination.write(offset, count, source);
}

TextCells MemoryDataFrameView::readText(size_t column, size_t offset, size_t count) const {
  return guarded([&]() -> TextCells {
    auto const & source = cells(column);
    requireRows(offset, count);
    return source.readText(offset, count);
  });
}

void MemoryDataFrameView::writeText(size_t column, size_t offset, size_t count, uint64_t const * offsets,
                                    char const * bytes) {
  guarded([&] {
    auto & destination = cells(column);
    requireRows(offset, count);
    if (!offsets || !bytes)
      throw InvalidArgument("there is no memory to write texts from");
    destination.writeText(offset, count, offsets, bytes);
  });
}

ColumnMemory MemoryDataFrameView::columnMemory(size_t column) { return cells(column).memory(); }

std::string MemoryDataFrameView::unit(size_t index) const {
  return guarded([&]() -> std::string { return units_->unit(index); });
}

void MemoryDataFrameView::setUnit(size_t index, std::string const & unit) {
  guarded([&] { units_->setUnit(index, unit); });
}

void MemoryDataFrameView::addColumn(std::string const & name, DataType dtype) {
  guarded([&] {
    withinMemory([&] {
      if (units_->names.size() == units_->names.capacity())
        units_->names.reserve(2 * units_->names.size() + 1);
      table_.add(name, dtype, {}, nullptr);
    });
    units_->names.push_back(std::move(table_.units.back()));
    table_.units.clear();
  });
}

void MemoryDataFrameView::addRows(size_t offset, size_t count) {
  guarded([&] {
    if (offset > table_.rowCount)
      throw InvalidArgument(
          fmt::format("row {} is no place to insert rows, allowed are 0 to {}", offset, table_.rowCount));
    auto const rowCount = checkedAdd(table_.rowCount, count, "rows of a table");
    if (count == 0)
      return;
    bool const movesRows = offset != table_.rowCount;
    withinMemory([&] {
      for (auto & column : table_.columns)
        column.cells->prepare(rowCount, movesRows);
    });

    // Nothing below this line fails.
    for (auto & column : table_.columns)
      column.cells->insert(offset, count);
    table_.rowCount = rowCount;
  });
}

void MemoryDataFrameView::removeColumn(size_t index) {
  guarded([&] {
    static_cast<void>(cells(index));
    auto const position = static_cast<std::ptrdiff_t>(index);
    table_.indices.erase(table_.columns[index].name);
    for (auto & [name, behind] : table_.indices)
      behind -= behind > index;
    table_.columns.erase(table_.columns.begin() + position);
    units_->names.erase(units_->names.begin() + position);
  });
}

void MemoryDataFrameView::removeRows(size_t offset, size_t count) {
  guarded([&] {
    requireRows(offset, count);
    if (count == 0)
      return;
    // The last rows too are moved away from those who share them: rows appended later must not take their place.
    withinMemory([&] {
      for (auto & column : table_.columns)
        column.cells->prepare(table_.rowCount - count, true);
    });

    // Nothing below this line fails.
    for (auto & column : table_.columns)
      column.cells->remove(offset, count);
    table_.rowCount -= count;
  });
}

void MemoryDataFrameView::reshape(Vector2u64 const & shape, std::string const * names, DataType const * dataTypes) {
  guarded([&] {
    if (shape[0] == 0 || shape[1] == 0)
      throw InvalidArgument(
          fmt::format("a table of {} columns and {} rows is empty, neither may be 0", shape[0], shape[1]));
    if (!names || !dataTypes)
      throw InvalidArgument(fmt::format("there are no {} of {} columns", names ? "types" : "names", shape[0]));
    Table table;
    withinMemory([&] {
      table.rowCount = shape[1];
      for (uint64_t i = 0; i < shape[0]; ++i)
        table.add(names[i], dataTypes[i], {}, nullptr);
    });

    // Nothing below this line fails.
    units_->names.swap(table.units);
    table.units.clear();
    table_ = std::move(table);
  });
}

} // namespace zarnik
