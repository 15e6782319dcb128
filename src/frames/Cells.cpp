#include "frames/Cells.h"

#include "zarnik/frames/DataFrameView.h"
#include "zarnik/frames/DataFrameViewFactory.h"

#include <cstring>
#include <fmt/format.h>

namespace zarnik::python {
namespace {

constexpr char const * UNSUPPORTED = "unsupported column data type for cell access";

// Tables of other makers may have columns of such types that are no numbers.
bool hasOneElement(DataType type) { return type.elementCount() == 1 && type != DataTypeId::UTF8_STRING; }

void requireNumbers(DataFrameView const & frame, size_t column) {
  if (frame.columnDataType(column) == DataTypeId::UTF8_STRING)
    throw Error("column do not store numeric data");
}

void requireTexts(DataFrameView const & frame, size_t column, size_t count, TextList const & cells) {
  if (frame.columnDataType(column) != DataTypeId::UTF8_STRING)
    throw Error("column do not store utf-8 strings");
  if (!cells.isMissing() && cells.size() < count)
    throw InvalidArgument(fmt::format("{} cells need a list of as many texts, got {}", count, cells.size()));
}

void requireLengths(Vector2u64 const & shape, TextList const & names, DataTypeList const & types) {
  auto const require = [&shape](char const * what, size_t size) {
    if (size < shape[0])
      throw InvalidArgument(fmt::format("{} columns need as many {}, got {}", shape[0], what, size));
  };
  require("data types", types.size());
  if (!names.isMissing())
    require("names", names.size());
}

template <typename T> T valueOf(std::vector<std::byte> const & cell) {
  T value;
  std::memcpy(&value, cell.data(), sizeof value);
  return value;
}

PyObject * numberAt(DataFrameView const & frame, DataType type, size_t column, size_t row) {
  std::vector<std::byte> cell(type.byteCount());
  frame.read(column, row, 1, cell.data());
  auto const bits = type.bitDepth();
  switch (type.primitiveType()) {
  case PrimitiveTypeId::UNSIGNED_INTEGER:
    if (bits == 8)
      return PyLong_FromUnsignedLong(valueOf<uint8_t>(cell));
    if (bits == 16)
      return PyLong_FromUnsignedLong(valueOf<uint16_t>(cell));
    // Of 64 bits the low ones, which come first.
    if (bits == 32 || bits == 64)
      return PyLong_FromUnsignedLong(valueOf<uint32_t>(cell));
    break;
  case PrimitiveTypeId::SIGNED_INTEGER:
    if (bits == 8)
      return PyLong_FromLong(valueOf<int8_t>(cell));
    if (bits == 16)
      return PyLong_FromLong(valueOf<int16_t>(cell));
    if (bits == 32 || bits == 64)
      return PyLong_FromLong(valueOf<int32_t>(cell));
    break;
  case PrimitiveTypeId::FLOATING_POINT:
    if (bits == 32)
      return PyFloat_FromDouble(static_cast<double>(valueOf<float>(cell)));
    if (bits == 64)
      return PyFloat_FromDouble(valueOf<double>(cell));
    break;
  default:
    break;
  }
  throw Error(UNSUPPORTED);
}

// The low bytes of the value, which come first.
void writeInteger(DataFrameView & frame, DataType type, size_t column, size_t row, uint64_t value, char const * kind) {
  auto const bits = type.bitDepth();
  if (bits != 8 && bits != 16 && bits != 32 && bits != 64)
    throw Error(fmt::format("invalid {} integer bit depth", kind));
  frame.write(column, row, 1, &value);
}

void setNumber(DataFrameView & frame, DataType type, size_t column, size_t row, PyObject * value, HeldError & held) {
  switch (type.primitiveType()) {
  case PrimitiveTypeId::UNSIGNED_INTEGER: {
    auto const number = PyLong_AsUnsignedLongLong(value);
    held.take();
    return writeInteger(frame, type, column, row, number, "unsigned");
  }
  case PrimitiveTypeId::SIGNED_INTEGER: {
    auto const number = PyLong_AsLongLong(value);
    held.take();
    return writeInteger(frame, type, column, row, static_cast<uint64_t>(number), "signed");
  }
  case PrimitiveTypeId::FLOATING_POINT: {
    auto const number = PyFloat_AsDouble(value);
    held.take();
    auto const narrowed = static_cast<float>(number);
    if (type.bitDepth() == 32)
      return frame.write(column, row, 1, &narrowed);
    if (type.bitDepth() == 64)
      return frame.write(column, row, 1, &number);
    throw Error("invalid floating-point bit depth");
  }
  default:
    // There is no cell to write such a value to.
    return;
  }
}

} // namespace

void readNumbers(DataFrameView const & frame, size_t column, size_t offset, size_t count, void * destination) {
  requireNumbers(frame, column);
  frame.read(column, offset, count, destination);
}

void writeNumbers(DataFrameView & frame, size_t column, size_t offset, size_t count, void const * source) {
  requireNumbers(frame, column);
  frame.write(column, offset, count, source);
}

void readTexts(DataFrameView const & frame, size_t column, size_t offset, size_t count, TextList & cells) {
  requireTexts(frame, column, count, cells);
  if (!cells.isMissing())
    frame.read(column, offset, count, cells.data());
}

void writeTexts(DataFrameView & frame, size_t column, size_t offset, size_t count, TextList & cells) {
  requireTexts(frame, column, count, cells);
  if (!cells.isMissing())
    frame.write(column, offset, count, cells.data());
}

PyObject * cellAt(DataFrameView const & frame, size_t column, size_t row) {
  auto const type = frame.columnDataType(column);
  if (hasOneElement(type))
    return numberAt(frame, type, column, row);
  if (type != DataTypeId::UTF8_STRING)
    throw Error(UNSUPPORTED);
  std::string text;
  frame.read(column, row, 1, &text);
  return textObject(text.c_str(), std::strlen(text.c_str()));
}

bool setCell(DataFrameView & frame, size_t column, size_t row, PyObject * value, HeldError & held) {
  auto const type = frame.columnDataType(column);
  if (hasOneElement(type)) {
    setNumber(frame, type, column, row, value, held);
    return true;
  }
  if (type != DataTypeId::UTF8_STRING)
    throw Error(UNSUPPORTED);
  std::string text;
  if (!readText(value, text))
    return false;
  frame.write(column, row, 1, &text);
  return true;
}

void reshapeFrame(DataFrameView & frame, Vector2u64 const & shape, TextList & names, DataTypeList const & types) {
  requireLengths(shape, names, types);
  if (!names.isMissing())
    frame.reshape(shape, names.data(), types.data());
}

std::shared_ptr<DataFrameView> allocateFrame(Vector2u64 const & shape, TextList & names, DataTypeList const & types) {
  requireLengths(shape, names, types);
  return names.isMissing() ? nullptr : DataFrameViewFactory::allocate(shape, names.data(), types.data());
}

} // namespace zarnik::python
