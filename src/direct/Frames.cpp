// What the package does with the columns of tables: memory shared with arrays, many texts at once, Arrow capsules.

#include "direct/CallWithoutLock.h"
#include "direct/Functions.h"
#include "direct/TypeTable.h"
#include "zarnik/core/Error.h"
#include "zarnik/frames/Arrow.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/frames/DataFrameViewFactory.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zarnik::python {

namespace {

constexpr char const * MEMORY = "zarnik.column_memory";
constexpr char const * ARROW_SCHEMA = "arrow_schema";
constexpr char const * ARROW_STREAM = "arrow_array_stream";
// So few that the texts are still in the cache when they are looked at again.
constexpr size_t TEXTS_AT_ONCE = 16384;

swig_type_info * frameType() {
  static auto * const found = findType("std::shared_ptr< zarnik::DataFrameView > *");
  return found;
}

std::shared_ptr<DataFrameView> frameOf(PyObject * object) {
  return requiredPointer<DataFrameView>(object, frameType(), "a DataFrameView");
}

Reference required(PyObject * object) {
  if (!object)
    throw PendingError();
  return Reference::steal(object);
}

void dropMemory(PyObject * capsule) {
  delete static_cast<std::shared_ptr<void> *>(PyCapsule_GetPointer(capsule, MEMORY));
}

// The structure of a capsule belongs to it; what it holds belongs to whoever takes it out.
template <typename Structure> void dropStructure(PyObject * capsule) {
  constexpr auto name = std::is_same_v<Structure, ArrowSchema> ? ARROW_SCHEMA : ARROW_STREAM;
  auto * const structure = static_cast<Structure *>(PyCapsule_GetPointer(capsule, name));
  if (structure->release)
    structure->release(structure);
  delete structure;
}

template <typename Structure> PyObject * capsuleOf(std::unique_ptr<Structure> structure, char const * name) {
  auto * const capsule = PyCapsule_New(structure.get(), name, dropStructure<Structure>);
  if (capsule)
    structure.release();
  else if (structure->release)
    structure->release(structure.get());
  return capsule;
}

std::pair<std::shared_ptr<DataFrameView>, size_t> frameAndColumn(PyObject * arguments) {
  PyObject * object = nullptr;
  unsigned long long column = 0;
  if (!PyArg_ParseTuple(arguments, "OK", &object, &column))
    throw PendingError();
  return {frameOf(object), column};
}

PyObject * columnMemory(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    auto const [frame, column] = frameAndColumn(arguments);
    auto memory = frame->columnMemory(column);
    if (!memory.cells)
      return Reference::share(Py_None).release();
    auto const address = reinterpret_cast<uintptr_t>(memory.cells.get());
    auto held = std::make_unique<std::shared_ptr<void>>(std::move(memory.cells));
    auto owner = required(PyCapsule_New(held.get(), MEMORY, dropMemory));
    held.release();
    return Py_BuildValue("KKNN", static_cast<unsigned long long>(address),
                         static_cast<unsigned long long>(frame->shape()[1]), PyBool_FromLong(memory.writable),
                         owner.release());
  });
}

PyObject * readTexts(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * object = nullptr;
    unsigned long long column = 0;
    unsigned long long offset = 0;
    unsigned long long count = 0;
    if (!PyArg_ParseTuple(arguments, "OKKK", &object, &column, &offset, &count))
      return nullptr;
    auto const frame = frameOf(object);
    // What cannot be read is refused before memory is taken for it.
    auto texts = frame->readText(column, offset, std::min<uint64_t>(count, TEXTS_AT_ONCE));
    if (auto const rows = frame->shape()[1]; count > rows - offset)
      throw InvalidArgument(fmt::format("row {} + {} rows exceeds the {} rows of the table", offset, count, rows));
    auto list = required(PyList_New(static_cast<Py_ssize_t>(count)));
    for (size_t i = 0; i < count; ++i) {
      auto const place = i % TEXTS_AT_ONCE;
      if (place == 0 && i != 0)
        texts = frame->readText(column, offset + i, std::min<uint64_t>(count - i, TEXTS_AT_ONCE));
      auto const length = texts.offsets[place + 1] - texts.offsets[place];
      auto text = required(PyUnicode_DecodeUTF8(texts.bytes.data() + texts.offsets[place],
                                                static_cast<Py_ssize_t>(length), "surrogateescape"));
      PyList_SetItem(list.get(), static_cast<Py_ssize_t>(i), text.release());
    }
    return list.release();
  });
}

// From numbers of characters to positions in UTF-8, in place.
void countBytes(std::span<uint64_t> offsets, std::string_view bytes) {
  if (offsets.back() == bytes.size())
    return;
  uint64_t characters = 0;
  size_t position = 0;
  for (auto & offset : offsets) {
    while (position < bytes.size()) {
      bool const isStart = (static_cast<unsigned char>(bytes[position]) & 0xC0) != 0x80;
      if (isStart && characters == offset)
        break;
      characters += isStart;
      ++position;
    }
    offset = position;
  }
}

// Encodes some texts behind others. Joined, they are encoded at once.
void appendTexts(PyObject * list, PyObject * nothing, std::span<uint64_t> offsets, std::string & bytes) {
  auto const joined = required(PyUnicode_Join(nothing, list));
  auto const encoded = required(PyUnicode_AsUTF8String(joined.get()));
  std::string_view const added(PyBytes_AsString(encoded.get()), static_cast<size_t>(PyBytes_Size(encoded.get())));
  offsets[0] = 0;
  for (size_t i = 0; i + 1 < offsets.size(); ++i) {
    auto const length = PyUnicode_GetLength(PyList_GetItem(list, static_cast<Py_ssize_t>(i)));
    offsets[i + 1] = offsets[i] + static_cast<uint64_t>(length);
  }
  countBytes(offsets, added);
  for (auto & offset : offsets)
    offset += bytes.size();
  bytes += added;
}

PyObject * writeTexts(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * object = nullptr;
    unsigned long long column = 0;
    unsigned long long offset = 0;
    PyObject * texts = nullptr;
    if (!PyArg_ParseTuple(arguments, "OKKO", &object, &column, &offset, &texts))
      return nullptr;
    auto const frame = frameOf(object);
    // No code of Python's runs from here on, so a list stays as it is.
    auto const list = PyList_CheckExact(texts) ? Reference::share(texts) : required(PySequence_List(texts));
    auto const nothing = required(PyUnicode_FromString(""));
    auto const count = static_cast<size_t>(PyList_Size(list.get()));
    std::vector<uint64_t> offsets(count + 1);
    std::string bytes;
    for (size_t first = 0; first < count; first += TEXTS_AT_ONCE) {
      auto const some = std::min(count - first, TEXTS_AT_ONCE);
      auto const part =
          required(PyList_GetSlice(list.get(), static_cast<Py_ssize_t>(first), static_cast<Py_ssize_t>(first + some)));
      appendTexts(part.get(), nothing.get(), std::span(offsets).subspan(first, some + 1), bytes);
    }
    frame->writeText(column, offset, count, offsets.data(), bytes.data());
    return Reference::share(Py_None).release();
  });
}

PyObject * textCells(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    auto const [frame, column] = frameAndColumn(arguments);
    auto const texts = frame->readText(column, 0, frame->shape()[1]);
    auto offsets =
        required(PyBytes_FromStringAndSize(reinterpret_cast<char const *>(texts.offsets.data()),
                                           static_cast<Py_ssize_t>(std::as_bytes(std::span(texts.offsets)).size())));
    auto bytes = required(PyBytes_FromStringAndSize(texts.bytes.data(), static_cast<Py_ssize_t>(texts.bytes.size())));
    return Py_BuildValue("NN", offsets.release(), bytes.release());
  });
}

PyObject * writeTextCells(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * object = nullptr;
    unsigned long long column = 0;
    PyObject * offsetsObject = nullptr;
    PyObject * bytesObject = nullptr;
    if (!PyArg_ParseTuple(arguments, "OKOO", &object, &column, &offsetsObject, &bytesObject))
      return nullptr;
    auto const frame = frameOf(object);
    auto const given = readableBuffer(offsetsObject);
    auto const bytes = readableBuffer(bytesObject);
    // A copy, which need not be aligned where it comes from.
    std::vector<uint64_t> offsets(given.size / sizeof(uint64_t));
    std::copy_n(static_cast<std::byte const *>(given.data), offsets.size() * sizeof(uint64_t),
                std::as_writable_bytes(std::span(offsets)).begin());
    auto const rows = frame->shape()[1];
    if (offsets.size() != rows + 1 || !std::ranges::is_sorted(offsets) || offsets.back() > bytes.size)
      throw InvalidArgument(fmt::format("{} offsets into {} bytes are no {} texts", offsets.size(), bytes.size, rows));
    frame->writeText(column, 0, rows, offsets.data(), static_cast<char const *>(bytes.data));
    return Reference::share(Py_None).release();
  });
}

// One of the columns of frameOverColumns.
ColumnSource sourceOf(PyObject * column, uint64_t rows) {
  char const * name = nullptr;
  Py_ssize_t nameBytes = 0;
  unsigned long long type = 0;
  char const * unit = nullptr;
  Py_ssize_t unitBytes = 0;
  PyObject * object = nullptr;
  if (!PyArg_ParseTuple(column, "s#Ks#O", &name, &nameBytes, &type, &unit, &unitBytes, &object))
    throw PendingError();
  ColumnSource source{std::string(name, static_cast<size_t>(nameBytes)), DataType(type),
                      std::string(unit, static_cast<size_t>(unitBytes)), nullptr};
  if (object == Py_None)
    return source;
  auto buffer = readableBuffer(object);
  if (buffer.size != rows * source.dataType.byteCount())
    throw InvalidArgument(fmt::format("{} bytes are no {} cells of column \"{}\" of type {}", buffer.size, rows,
                                      source.name, source.dataType.toString()));
  auto const owner = std::make_shared<KeptObject>(std::move(buffer.pin));
  source.cells = {owner, buffer.data};
  return source;
}

PyObject * frameOverColumns(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    unsigned long long rows = 0;
    PyObject * list = nullptr;
    if (!PyArg_ParseTuple(arguments, "KO!", &rows, &PyList_Type, &list))
      return nullptr;
    std::vector<ColumnSource> columns;
    columns.reserve(static_cast<size_t>(PyList_Size(list)));
    for (Py_ssize_t i = 0; i < PyList_Size(list); ++i)
      columns.push_back(sourceOf(Reference::share(PyList_GetItem(list, i)).get(), rows));
    return wrapShared(DataFrameViewFactory::create(rows, columns), frameType());
  });
}

PyObject * arrowSchema(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto schema = std::make_unique<ArrowSchema>();
    ArrowInterface::exportSchema(*frameOf(object), schema.get());
    return capsuleOf(std::move(schema), ARROW_SCHEMA);
  });
}

PyObject * arrowStream(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto stream = std::make_unique<ArrowArrayStream>();
    ArrowInterface::exportStream(frameOf(object), stream.get());
    return capsuleOf(std::move(stream), ARROW_STREAM);
  });
}

PyObject * frameFromArrow(PyObject *, PyObject * capsule) {
  return guarded([&]() -> PyObject * {
    auto * const stream = static_cast<ArrowArrayStream *>(PyCapsule_GetPointer(capsule, ARROW_STREAM));
    if (!stream)
      return nullptr;
    if (!stream->release)
      throw InvalidArgument("the Arrow stream was taken by somebody else");
    // The capsule, which the caller holds, releases it. Other threads of whoever fills the stream may need the lock.
    return wrapShared(callWithoutLock([stream] { return ArrowInterface::importStream(stream); }, CallLength::SHORT),
                      frameType());
  });
}

PyMethodDef methods[] = {
    {"column_memory", columnMemory, METH_VARARGS,
     "The memory of a column: address, number of rows, whether it may change, and what holds it; None if there is "
     "none."},
    {"read_texts", readTexts, METH_VARARGS, "Texts of a column, from index, first row and number of rows, as a list."},
    {"write_texts", writeTexts, METH_VARARGS, "Write a sequence of str to a column, from index and first row."},
    {"text_cells", textCells, METH_VARARGS,
     "All texts of a column, from its index: offsets of 64 bits, one more than there are rows, and UTF-8."},
    {"write_text_cells", writeTextCells, METH_VARARGS, "Write all texts of a column as text_cells gives them."},
    {"frame_over_columns", frameOverColumns, METH_VARARGS,
     "A table from the number of rows and a list of columns: name, id of the data type, unit, and a buffer with its "
     "cells\nor None."},
    {"arrow_schema", arrowSchema, METH_O, "The columns of a table as a capsule of an ArrowSchema."},
    {"arrow_stream", arrowStream, METH_O, "A table as a capsule of an ArrowArrayStream."},
    {"frame_from_arrow", frameFromArrow, METH_O, "A table from a capsule of an ArrowArrayStream."},
    {nullptr, nullptr, 0, nullptr},
};

DirectFunctions const registered(methods);

} // namespace

} // namespace zarnik::python
