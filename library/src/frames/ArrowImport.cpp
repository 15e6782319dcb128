#include "core/Guarded.h"
#include "frames/ArrowTypes.h"
#include "zarnik/core/Error.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/frames/DataFrameViewFactory.h"
#include "zarnik/values/Checked.h"

#include <cstring>
#include <fmt/format.h>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace zarnik {
namespace {

using Batch = std::shared_ptr<ArrowArray>;

template <typename Structure> void releaseIfHeld(Structure * structure) {
  if (structure->release)
    structure->release(structure);
  delete structure;
}

template <typename Structure> std::shared_ptr<Structure> emptyStructure() {
  return {new Structure{}, releaseIfHeld<Structure>};
}

void requireSuccess(ArrowArrayStream * stream, int code) {
  if (code == 0)
    return;
  auto const * const text = stream->get_last_error(stream);
  throw Error(fmt::format("the Arrow stream failed: {}", text ? text : std::strerror(code)));
}

int32_t numberAt(char const * bytes) {
  int32_t number = 0;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

std::string unitIn(char const * metadata) {
  if (!metadata)
    return {};
  auto const next = [&metadata] {
    auto const number = numberAt(metadata);
    metadata += sizeof number;
    return number < 0 ? 0 : static_cast<size_t>(number);
  };
  auto const text = [&] {
    auto const size = next();
    std::string_view const found(metadata, size);
    metadata += size;
    return found;
  };
  for (auto count = next(); count > 0; --count) {
    auto const key = text();
    auto const value = text();
    if (key == ARROW_UNIT_KEY)
      return std::string(value);
  }
  return {};
}

ColumnSource columnFrom(ArrowSchema const & field) {
  std::string_view const format = field.format;
  std::string const name = field.name ? field.name : "";
  if (field.dictionary)
    throw InvalidArgument(fmt::format("column \"{}\" is dictionary encoded, a table holds numbers and texts", name));
  auto const type = typeOfArrowFormat(format);
  if (type == DataType()) {
    throw InvalidArgument(fmt::format("column \"{}\" of Arrow type {} (\"{}\") cannot be held, a table holds numbers "
                                      "and texts",
                                      name, nameOfArrowFormat(format), format));
  }
  return {name, type, unitIn(field.metadata), nullptr};
}

// Cells that are marked as missing. Bits count from the lowest of each byte, 1 for a cell that is there.
uint64_t nullCount(ArrowArray const & array, uint64_t offset, uint64_t length) {
  if (array.null_count == 0 || array.n_buffers == 0 || !array.buffers[0])
    return 0;
  auto const * const bits = static_cast<uint8_t const *>(array.buffers[0]);
  uint64_t count = 0;
  for (uint64_t i = offset; i < offset + length; ++i)
    count += (bits[i / 8] >> (i % 8) & 1) == 0;
  return count;
}

/// The cells of a column in one batch.
struct Part {
  ArrowArray const & array;
  uint64_t offset;
  uint64_t length;

  template <typename T> T const * buffer(int64_t index) const {
    return array.n_buffers > index ? static_cast<T const *>(array.buffers[index]) : nullptr;
  }
};

Part partOf(ArrowArray const & batch, size_t column) {
  auto const & array = *batch.children[column];
  // The offset of the whole counts for its columns too.
  return {array, static_cast<uint64_t>(array.offset + batch.offset), static_cast<uint64_t>(batch.length)};
}

// Texts behind one another, with offsets of 32 or of 64 bits.
template <typename Offset> void writeTexts(DataFrameView & frame, size_t column, uint64_t row, Part const & part) {
  auto const * const first = part.buffer<Offset>(1) + part.offset;
  std::vector<uint64_t> const offsets(first, first + part.length + 1);
  auto const * const bytes = part.buffer<char>(2);
  frame.writeText(column, row, part.length, offsets.data(), bytes ? bytes : "");
}

// Texts of up to 12 bytes stand in their entries; of longer ones the entry says in which buffer, and where.
void writeTextViews(DataFrameView & frame, size_t column, uint64_t row, Part const & part) {
  constexpr size_t entryBytes = 16;
  constexpr int32_t inlineBytes = 12;
  auto const * entry = part.buffer<char>(1) + part.offset * entryBytes;
  std::vector<uint64_t> offsets{0};
  offsets.reserve(part.length + 1);
  std::string bytes;
  for (uint64_t i = 0; i < part.length; ++i, entry += entryBytes) {
    auto const length = numberAt(entry);
    auto const * text = entry + sizeof length;
    if (length > inlineBytes)
      text = part.buffer<char>(2 + numberAt(entry + 8)) + numberAt(entry + 12);
    bytes.append(text, static_cast<size_t>(length));
    offsets.push_back(bytes.size());
  }
  frame.writeText(column, row, part.length, offsets.data(), bytes.data());
}

void copyCells(DataFrameView & frame, size_t column, uint64_t row, Part const & part, std::string_view format) {
  if (part.length == 0)
    return;
  if (format == "u")
    writeTexts<int32_t>(frame, column, row, part);
  else if (format == "U")
    writeTexts<int64_t>(frame, column, row, part);
  else if (format == "vu")
    writeTextViews(frame, column, row, part);
  else
    frame.write(column, row, part.length,
                part.buffer<char>(1) + part.offset * frame.columnDataType(column).byteCount());
}

std::vector<Batch> batchesOf(ArrowArrayStream * stream) {
  std::vector<Batch> batches;
  while (true) {
    auto batch = emptyStructure<ArrowArray>();
    requireSuccess(stream, stream->get_next(stream, batch.get()));
    if (!batch->release)
      return batches;
    batches.push_back(std::move(batch));
  }
}

void requireCompleteBatch(ArrowArray const & batch, std::vector<ColumnSource> const & columns) {
  if (batch.n_children != static_cast<int64_t>(columns.size()) || batch.length < 0)
    throw Error(fmt::format("a batch of the Arrow stream has {} columns, its description {}", batch.n_children,
                            columns.size()));
  if (auto const nulls = nullCount(batch, static_cast<uint64_t>(batch.offset), static_cast<uint64_t>(batch.length)))
    throw InvalidArgument(fmt::format("{} rows are null, a table holds no nulls", nulls));
  for (size_t i = 0; i < columns.size(); ++i) {
    auto const part = partOf(batch, i);
    if (batch.offset < 0 || part.array.offset < 0 || part.array.length - batch.offset < batch.length ||
        (batch.length != 0 && !part.buffer<char>(1)))
      throw Error(fmt::format("column \"{}\" of the Arrow stream has fewer cells than the {} of its batch",
                              columns[i].name, batch.length));
    if (auto const nulls = nullCount(part.array, part.offset, part.length))
      throw InvalidArgument(fmt::format("column \"{}\" has {} null{}, a table holds none", columns[i].name, nulls,
                                        nulls == 1 ? "" : "s"));
  }
}

// Numbers of the only batch stay where they are, if they are aligned as numbers in memory should be.
void shareCells(ColumnSource & column, Batch const & batch, size_t index) {
  auto const part = partOf(*batch, index);
  auto const bytes = column.dataType.byteCount();
  if (column.dataType == DataTypeId::UTF8_STRING || part.length == 0)
    return;
  auto const * const cells = part.buffer<char>(1) + part.offset * bytes;
  if (reinterpret_cast<uintptr_t>(cells) % bytes == 0)
    column.cells = {batch, cells};
}

std::shared_ptr<DataFrameView> readStream(ArrowArrayStream * stream) {
  auto const schema = emptyStructure<ArrowSchema>();
  requireSuccess(stream, stream->get_schema(stream, schema.get()));
  if (std::string_view(schema->format) != "+s")
    throw InvalidArgument(fmt::format("a stream of Arrow type {} (\"{}\") is no table, a struct is needed",
                                      nameOfArrowFormat(schema->format), schema->format));
  std::vector<ColumnSource> columns;
  columns.reserve(static_cast<size_t>(std::max<int64_t>(schema->n_children, 0)));
  for (int64_t i = 0; i < schema->n_children; ++i)
    columns.push_back(columnFrom(*schema->children[i]));

  auto const batches = batchesOf(stream);
  uint64_t rows = 0;
  for (auto const & batch : batches) {
    requireCompleteBatch(*batch, columns);
    rows = checkedAdd(rows, static_cast<uint64_t>(batch->length), "rows of a table");
  }
  if (batches.size() == 1)
    for (size_t i = 0; i < columns.size(); ++i)
      shareCells(columns[i], batches.front(), i);
  auto frame = DataFrameViewFactory::create(rows, columns);
  uint64_t row = 0;
  for (auto const & batch : batches) {
    for (size_t i = 0; i < columns.size(); ++i)
      if (!columns[i].cells)
        copyCells(*frame, i, row, partOf(*batch, i), schema->children[i]->format);
    row += static_cast<uint64_t>(batch->length);
  }
  return frame;
}

} // namespace

std::shared_ptr<DataFrameView> ArrowInterface::importStream(ArrowArrayStream * stream) {
  return guarded([&]() -> std::shared_ptr<DataFrameView> {
    try {
      return readStream(stream);
    } catch (std::bad_alloc const &) {
      throw Error("not enough memory for an Arrow table");
    } catch (std::length_error const &) {
      throw Error("not enough memory for an Arrow table");
    }
  });
}

} // namespace zarnik
