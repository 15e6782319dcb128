#include "zarnik/frames/DataFrameView.h"

#include "core/Guarded.h"
#include "frames/MemoryDataFrameView.h"
#include "zarnik/core/Error.h"
#include "zarnik/frames/DataFrameViewFactory.h"
#include "zarnik/frames/DataFrameViewProvider.h"

#include <algorithm>
#include <fmt/format.h>
#include <new>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace zarnik {
namespace {

[[noreturn]] void refuse(char const * operation) {
  throw NotImplemented(fmt::format("this data frame does not support {}", operation));
}

std::string capabilityNames(DataFrameCapabilitySet capabilities) {
  using enum DataFrameCapability;
  std::string names;
  for (auto const & [flag, name] : {std::pair{READ, "READ"}, {WRITE, "WRITE"}, {RESHAPE, "RESHAPE"}})
    if (capabilities.has(flag))
      names.append(names.empty() ? "" : " | ").append(name);
  return names.empty() ? "none" : names;
}

void requireTexts(DataFrameView const & frame, size_t column) {
  if (auto const type = frame.columnDataType(column); type != DataTypeId::UTF8_STRING)
    throw InvalidArgument(fmt::format("a column of type {} holds no texts", type.toString()));
}

} // namespace

DataFrameView::~DataFrameView() = default;

bool DataFrameView::support(DataFrameCapabilitySet capabilities) const {
  return this->capabilities().has(capabilities);
}

void DataFrameView::write(size_t, size_t, size_t, void const *) { refuse("writing"); }
void DataFrameView::setUnit(size_t, std::string const &) { refuse("changing units"); }
void DataFrameView::addColumn(std::string const &, DataType) { refuse("adding columns"); }
void DataFrameView::addRows(size_t, size_t) { refuse("adding rows"); }
void DataFrameView::removeColumn(size_t) { refuse("removing columns"); }
void DataFrameView::removeRows(size_t, size_t) { refuse("removing rows"); }
void DataFrameView::reshape(Vector2u64 const &, std::string const *, DataType const *) { refuse("reshaping"); }

ColumnMemory DataFrameView::columnMemory(size_t column) {
  static_cast<void>(columnDataType(column));
  return {};
}

TextCells DataFrameView::readText(size_t column, size_t offset, size_t count) const {
  requireTexts(*this, column);
  // Blocks bound what the separate strings cost; the rows are checked before anything is taken for them.
  constexpr size_t blockRows = 4096;
  if (auto const rows = shape()[1]; offset > rows || count > rows - offset)
    throw InvalidArgument(fmt::format("row {} + {} rows exceeds the {} rows of the table", offset, count, rows));
  try {
    TextCells texts;
    texts.offsets.reserve(count + 1);
    std::vector<std::string> block(std::min(count, blockRows));
    for (size_t done = 0; done < count; done += blockRows) {
      auto const rows = std::min(count - done, blockRows);
      read(column, offset + done, rows, block.data());
      for (size_t i = 0; i < rows; ++i)
        texts.offsets.push_back(texts.bytes.append(block[i]).size());
    }
    return texts;
  } catch (std::bad_alloc const &) {
    throw Error(fmt::format("cannot allocate memory for {} texts of a table", count));
  } catch (std::length_error const &) {
    throw Error(fmt::format("cannot allocate memory for {} texts of a table", count));
  }
}

void DataFrameView::writeText(size_t column, size_t offset, size_t count, uint64_t const * offsets,
                              char const * bytes) {
  requireTexts(*this, column);
  if (!offsets || !bytes)
    throw InvalidArgument("there is no memory to write texts from");
  std::vector<std::string> texts;
  try {
    for (size_t i = 0; i < count; ++i) {
      if (offsets[i + 1] < offsets[i])
        throw InvalidArgument(fmt::format("offset {} of text {} is below the offset {} of the text before it",
                                          offsets[i + 1], i + 1, offsets[i]));
      texts.emplace_back(bytes + offsets[i], offsets[i + 1] - offsets[i]);
    }
  } catch (std::bad_alloc const &) {
    throw Error(fmt::format("cannot allocate memory for {} texts of a table", count));
  }
  // In one piece, so that a text that is refused leaves all as it was.
  write(column, offset, count, texts.data());
}

std::string DataFrameView::toString() const {
  constexpr uint64_t shown = 32;
  auto const size = shape();
  std::string columns;
  for (uint64_t i = 0; i < std::min(size[0], shown); ++i) {
    auto const unitName = unit(i);
    columns += fmt::format("{}{}: {}{}", i == 0 ? "" : ", ", columnName(i), columnDataType(i).toString(),
                           unitName.empty() ? "" : fmt::format(" [{}]", unitName));
  }
  return fmt::format("DataFrameView({} {} x {} {}, {}{}{}{})", size[0], size[0] == 1 ? "column" : "columns", size[1],
                     size[1] == 1 ? "row" : "rows", capabilityNames(capabilities()), columns.empty() ? "" : ", ",
                     columns, size[0] > shown ? ", ..." : "");
}

std::shared_ptr<DataFrameView> DataFrameViewFactory::allocate(Vector2u64 const & shape, std::string const * names,
                                                              DataType const * dataTypes) {
  return guarded([&]() -> std::shared_ptr<DataFrameView> {
    auto frame = std::make_shared<MemoryDataFrameView>();
    frame->reshape(shape, names, dataTypes);
    return frame;
  });
}

std::shared_ptr<DataFrameView> DataFrameViewFactory::allocate() {
  return guarded([&]() -> std::shared_ptr<DataFrameView> { return std::make_shared<MemoryDataFrameView>(); });
}

std::shared_ptr<DataFrameView> DataFrameViewFactory::create(uint64_t rowCount,
                                                            std::vector<ColumnSource> const & columns) {
  return guarded(
      [&]() -> std::shared_ptr<DataFrameView> { return std::make_shared<MemoryDataFrameView>(rowCount, columns); });
}

bool DataFrameViewProvider::isDataFrame(std::shared_ptr<View> view) { return toDataFrame(std::move(view)) != nullptr; }

std::shared_ptr<DataFrameView> DataFrameViewProvider::toDataFrame(std::shared_ptr<View> view) {
  return std::dynamic_pointer_cast<DataFrameView>(view);
}

} // namespace zarnik
