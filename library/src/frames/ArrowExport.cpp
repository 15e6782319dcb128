#include "core/Guarded.h"
#include "frames/ArrowTypes.h"
#include "zarnik/core/Error.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/values/Checked.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <new>
#include <vector>

namespace zarnik {
namespace {

// What a structure points to goes with it: its receiver may move the structure itself, and children out of it.

struct SchemaParts {
  std::string format;
  std::string name;
  std::string metadata;
  std::vector<ArrowSchema> children;
  std::vector<ArrowSchema *> childPointers;
};

struct ArrayParts {
  std::shared_ptr<void> cells;
  TextCells texts;
  std::vector<void const *> buffers;
  std::vector<ArrowArray> children;
  std::vector<ArrowArray *> childPointers;
};

template <typename Structure, typename Parts> void releaseStructure(Structure * structure) {
  for (int64_t i = 0; i < structure->n_children; ++i)
    if (auto * const child = structure->children[i]; child->release)
      child->release(child);
  delete static_cast<Parts *>(structure->private_data);
  structure->release = nullptr;
}

template <typename Structure, typename Parts> void fill(Structure & structure, std::unique_ptr<Parts> parts) {
  for (auto & child : parts->children)
    parts->childPointers.push_back(&child);
  structure.n_children = static_cast<int64_t>(parts->children.size());
  structure.children = parts->childPointers.data();
  structure.dictionary = nullptr;
  structure.release = releaseStructure<Structure, Parts>;
  structure.private_data = parts.release();
}

// Releases what was made so far when the rest fails.
template <typename Structure> class Unfinished {
public:
  explicit Unfinished(std::vector<Structure> & children) : children_(children) {}
  ~Unfinished() {
    for (auto & child : children_)
      if (child.release)
        child.release(&child);
  }
  Unfinished(Unfinished const &) = delete;
  Unfinished & operator=(Unfinished const &) = delete;

private:
  std::vector<Structure> & children_;
};

void appendNumber(std::string & bytes, size_t number) {
  auto const value = static_cast<int32_t>(number);
  bytes.append(reinterpret_cast<char const *>(&value), sizeof value);
}

std::string unitMetadata(std::string const & unit) {
  std::string bytes;
  if (unit.empty())
    return bytes;
  appendNumber(bytes, 1);
  appendNumber(bytes, ARROW_UNIT_KEY.size());
  bytes.append(ARROW_UNIT_KEY);
  appendNumber(bytes, unit.size());
  return bytes.append(unit);
}

ArrowSchema makeSchema(std::string format, std::string name, std::string metadata,
                       std::vector<ArrowSchema> && children) {
  auto parts = std::make_unique<SchemaParts>();
  parts->format = std::move(format);
  parts->name = std::move(name);
  parts->metadata = std::move(metadata);
  parts->childPointers.reserve(children.size());
  parts->children.swap(children);
  ArrowSchema schema{};
  schema.format = parts->format.c_str();
  schema.name = parts->name.c_str();
  schema.metadata = parts->metadata.empty() ? nullptr : parts->metadata.data();
  fill(schema, std::move(parts));
  return schema;
}

ArrowSchema schemaOf(DataFrameView const & frame) {
  auto const count = frame.shape()[0];
  std::vector<ArrowSchema> children;
  Unfinished const guard(children);
  children.reserve(count);
  for (uint64_t i = 0; i < count; ++i) {
    auto name = frame.columnName(i);
    auto const type = frame.columnDataType(i);
    if (name.find('\0') != std::string::npos)
      throw InvalidArgument(fmt::format("the name of column {} has a zero character, which Arrow does not allow", i));
    auto const format = arrowFormat(type);
    if (format.empty())
      throw InvalidArgument(fmt::format("column \"{}\" of type {} has no type in Arrow", name, type.toString()));
    auto const unit = frame.unit(i);
    if (unit.size() > INT32_MAX)
      throw InvalidArgument(fmt::format("the unit of column \"{}\" is too long for Arrow", name));
    children.push_back(makeSchema(std::string(format), std::move(name), unitMetadata(unit), {}));
  }
  return makeSchema("+s", "", "", std::move(children));
}

ArrowArray makeArray(uint64_t length, std::unique_ptr<ArrayParts> parts) {
  ArrowArray array{};
  array.length = static_cast<int64_t>(length);
  array.n_buffers = static_cast<int64_t>(parts->buffers.size());
  array.buffers = parts->buffers.data();
  fill(array, std::move(parts));
  return array;
}

std::shared_ptr<void> numbersOf(DataFrameView & frame, size_t column, uint64_t rows) {
  if (auto memory = frame.columnMemory(column); memory.cells)
    return memory.cells;
  std::shared_ptr<void> copy(
      detail::allocateZeroed(rows, frame.columnDataType(column).byteCount(), "a column of an Arrow table"),
      detail::freeZeroed);
  frame.read(column, 0, rows, copy.get());
  return copy;
}

ArrowArray columnOf(DataFrameView & frame, size_t column, uint64_t rows) {
  auto parts = std::make_unique<ArrayParts>();
  // There are no nulls, so none are marked.
  if (frame.columnDataType(column) == DataTypeId::UTF8_STRING) {
    parts->texts = frame.readText(column, 0, rows);
    parts->buffers = {nullptr, parts->texts.offsets.data(), parts->texts.bytes.data()};
  } else {
    parts->cells = numbersOf(frame, column, rows);
    parts->buffers = {nullptr, parts->cells.get()};
  }
  return makeArray(rows, std::move(parts));
}

ArrowArray arrayOf(DataFrameView & frame) {
  auto const shape = frame.shape();
  if (shape[1] > INT64_MAX)
    throw InvalidArgument(fmt::format("{} rows are too many for Arrow", shape[1]));
  std::vector<ArrowArray> children;
  Unfinished const guard(children);
  children.reserve(shape[0]);
  for (uint64_t i = 0; i < shape[0]; ++i)
    children.push_back(columnOf(frame, i, shape[1]));
  auto parts = std::make_unique<ArrayParts>();
  parts->buffers = {nullptr};
  parts->childPointers.reserve(children.size());
  parts->children.swap(children);
  return makeArray(shape[1], std::move(parts));
}

template <typename Function> auto withinMemory(Function function) {
  try {
    return function();
  } catch (std::bad_alloc const &) {
    throw Error("not enough memory for an Arrow table");
  }
}

// The table may change or go before it is asked for: all is prepared beforehand.
struct StreamParts {
  ArrowSchema schema{};
  ArrowArray batch{};

  ~StreamParts() {
    if (schema.release)
      schema.release(&schema);
    if (batch.release)
      batch.release(&batch);
  }
};

StreamParts & partsOf(ArrowArrayStream * stream) { return *static_cast<StreamParts *>(stream->private_data); }

ArrowSchema copyOf(ArrowSchema const & schema) {
  auto const * const parts = static_cast<SchemaParts const *>(schema.private_data);
  std::vector<ArrowSchema> children;
  Unfinished const guard(children);
  children.reserve(parts->children.size());
  for (auto const & child : parts->children)
    children.push_back(copyOf(child));
  return makeSchema(parts->format, parts->name, parts->metadata, std::move(children));
}

int giveSchema(ArrowArrayStream * stream, ArrowSchema * schema) {
  try {
    *schema = copyOf(partsOf(stream).schema);
    return 0;
  } catch (...) {
    return ENOMEM;
  }
}

int giveBatch(ArrowArrayStream * stream, ArrowArray * batch) {
  // Behind the only batch comes one that is released already, which ends the stream.
  *batch = partsOf(stream).batch;
  partsOf(stream).batch.release = nullptr;
  return 0;
}

char const * lastError(ArrowArrayStream *) { return "not enough memory"; }

void releaseStream(ArrowArrayStream * stream) {
  delete &partsOf(stream);
  stream->release = nullptr;
}

} // namespace

void ArrowInterface::exportSchema(DataFrameView const & frame, ArrowSchema * schema) {
  guarded([&] { *schema = withinMemory([&] { return schemaOf(frame); }); });
}

void ArrowInterface::exportStream(std::shared_ptr<DataFrameView> frame, ArrowArrayStream * stream) {
  guarded([&] {
    withinMemory([&] {
      auto parts = std::make_unique<StreamParts>();
      parts->schema = schemaOf(*frame);
      parts->batch = arrayOf(*frame);
      *stream = {giveSchema, giveBatch, lastError, releaseStream, parts.release()};
    });
  });
}

} // namespace zarnik
