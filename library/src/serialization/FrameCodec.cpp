#include "serialization/FrameCodec.h"

#include "core/ProgressReport.h"
#include "serialization/Content.h"
#include "serialization/ObjectReader.h"
#include "serialization/ObjectWriter.h"
#include "zarnik/core/Error.h"
#include "zarnik/frames/DataFrameViewFactory.h"
#include "zarnik/values/Checked.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>
#include <vector>

namespace zarnik::format {
namespace {

constexpr uint64_t TEXT_ROWS = 65536;
// Cells in memory are given to the stream in parts, which are told one by one.
constexpr uint64_t SHARED_BYTES = 64 << 20;

bool isText(DataType type) { return type == DataTypeId::UTF8_STRING; }

void encodeNumbers(ObjectWriter & writer, DataFrameView & frame, size_t column, uint64_t rows,
                   ProgressReport & report) {
  uint64_t const cellBytes = frame.columnDataType(column).byteCount();
  writer.align();
  writer.beginSection(NUMBERS, checkedMultiply(rows, cellBytes, "bytes of a column"));
  auto const memory = frame.columnMemory(column).cells;
  auto const rowsAtOnce = std::max<uint64_t>(1, (memory ? SHARED_BYTES : BLOCK_BYTES) / cellBytes);
  std::vector<std::byte> copies(memory ? 0 : std::min(rows, rowsAtOnce) * cellBytes);
  for (uint64_t row = 0; row < rows; row += rowsAtOnce) {
    auto const count = std::min(rowsAtOnce, rows - row);
    if (!memory)
      frame.read(column, row, count, copies.data());
    auto const * const cells = memory ? static_cast<std::byte const *>(memory.get()) + row * cellBytes : copies.data();
    writer.write(cells, count * cellBytes);
    report.advance(count);
  }
  writer.endSection();
}

void encodeTexts(ObjectWriter & writer, DataFrameView & frame, size_t column, uint64_t rows, ProgressReport & report) {
  for (uint64_t row = 0; row < rows; row += TEXT_ROWS) {
    auto const count = std::min(TEXT_ROWS, rows - row);
    auto const cells = frame.readText(column, row, count);
    auto const offsetBytes = cells.offsets.size() * sizeof(uint64_t);
    writer.beginSection(TEXTS, sizeof count + offsetBytes + cells.bytes.size());
    writer.write(&count, sizeof count);
    writer.write(cells.offsets.data(), offsetBytes);
    writer.write(cells.bytes.data(), cells.bytes.size());
    writer.endSection();
    report.advance(count);
  }
}

void decodeNumbers(ObjectReader & reader, DataFrameView & frame, size_t column, uint64_t rows) {
  uint64_t const cellBytes = frame.columnDataType(column).byteCount();
  reader.next({NUMBERS});
  if (reader.length() != checkedMultiply(rows, cellBytes, "bytes of a column"))
    reader.fail(fmt::format("section 'NCOL' has {} bytes, {} cells of {} bytes were expected", reader.length(), rows,
                            cellBytes));
  reader.read(frame.columnMemory(column).cells.get(), reader.length());
  reader.endSection();
}

void decodeTexts(ObjectReader & reader, DataFrameView & frame, size_t column, uint64_t rows) {
  for (uint64_t row = 0; row < rows;) {
    reader.next({TEXTS});
    auto const bytes = reader.readSection();
    ContentReader content(bytes, "TCOL");
    auto const count = content.getCount(sizeof(uint64_t), "cells");
    if (count == 0 || count > rows - row)
      reader.fail(fmt::format("section 'TCOL' has {} cells, 1 to {} were expected", count, rows - row));
    std::vector<uint64_t> offsets(count + 1);
    auto const stored = content.getBytes(offsets.size() * sizeof(uint64_t), "the offsets of cells");
    std::memcpy(offsets.data(), stored.data(), stored.size());
    // Offsets that do not rise are refused where they are written.
    if (offsets.front() != 0 || offsets.back() != content.left())
      reader.fail(fmt::format("the cells of section 'TCOL' lie at bytes {} to {} of its {}", offsets.front(),
                              offsets.back(), content.left()));
    auto const texts = content.getBytes(content.left(), "the text of cells");
    frame.writeText(column, row, count, offsets.data(), reinterpret_cast<char const *>(texts.data()));
    row += count;
  }
}

} // namespace

void encodeFrame(std::shared_ptr<DataFrameView> const & frame, std::shared_ptr<StreamAccess> stream,
                 Progress const & progress) {
  if (!frame)
    throw InvalidArgument("there is no data frame to encode");
  if (!frame->support(DataFrameCapability::READ))
    throw NotImplemented("the data frame does not support READ, which encoding needs");
  auto const shape = frame->shape();
  auto const columns = shape[0];
  auto const rows = shape[1];
  ContentBuilder header;
  header.put(uint64_t{columns});
  header.put(uint64_t{rows});
  for (size_t column = 0; column != columns; ++column) {
    header.putText(frame->columnName(column));
    header.putText(frame->unit(column));
    header.put(uint64_t{frame->columnDataType(column).id()});
  }
  ObjectWriter writer(std::move(stream), Kind::DATA_FRAME, DataType());
  writer.writeSection(COLUMNS, header.bytes());
  ProgressReport report("storing a table", checkedMultiply(columns, rows, "cells of a table"), progress);
  for (size_t column = 0; column != columns; ++column) {
    if (isText(frame->columnDataType(column)))
      encodeTexts(writer, *frame, column, rows, report);
    else
      encodeNumbers(writer, *frame, column, rows, report);
  }
  writer.finish();
}

std::shared_ptr<DataFrameView> decodeFrame(std::shared_ptr<StreamAccess> stream) {
  ObjectReader reader(std::move(stream), Kind::DATA_FRAME, "a DataFrameView");
  reader.next({COLUMNS});
  auto const bytes = reader.readSection();
  ContentReader header(bytes, "COLS");
  // Name, unit and type.
  auto const columns = header.getCount(3 * sizeof(uint64_t), "columns of a data frame");
  auto const rows = header.get<uint64_t>("the number of rows");
  auto frame = DataFrameViewFactory::allocate();
  for (size_t column = 0; column != columns; ++column) {
    auto const name = header.getText("the name of a column");
    auto const unit = header.getText("the unit of a column");
    frame->addColumn(name, DataType(header.get<uint64_t>("the type of a column")));
    frame->setUnit(column, unit);
  }
  header.requireEnd();
  if (rows != 0)
    frame->addRows(0, rows);
  for (size_t column = 0; column != columns; ++column) {
    if (isText(frame->columnDataType(column)))
      decodeTexts(reader, *frame, column, rows);
    else
      decodeNumbers(reader, *frame, column, rows);
  }
  reader.finish();
  return frame;
}

} // namespace zarnik::format
