#pragma once

#include "serialization/Content.h"
#include "serialization/ObjectReader.h"
#include "serialization/ObjectWriter.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/Checked.h"
#include "zarnik/values/Matrix.h"
#include "zarnik/values/Vector.h"
#include "zarnik/values/VectorX.h"

#include <memory>
#include <utility>

namespace zarnik::format {

/// Reads the header of an object whose elements have to be of one type.
template <typename T> ObjectReader openValues(std::shared_ptr<StreamAccess> stream, Kind kind, char const * what) {
  ObjectReader reader(std::move(stream), kind, what);
  DataType const wanted(dataTypeIdOf<T>);
  if (reader.dataType() != wanted)
    reader.fail(fmt::format("its elements are of type {}, which is not compatible with {}",
                            reader.dataType().toString(), wanted.toString()));
  return reader;
}

template <typename T>
void encodeElements(T const * elements, uint64_t count, Kind kind, std::shared_ptr<StreamAccess> stream) {
  ObjectWriter writer(std::move(stream), kind, DataType(dataTypeIdOf<T>));
  writer.writeSection(VALUES, std::as_bytes(std::span(elements, count)));
  writer.finish();
}

/// Goes to the elements of a value that has exactly `count` of them.
template <typename T> void beginElements(ObjectReader & reader, uint64_t count) {
  reader.next({VALUES});
  if (reader.length() != count * sizeof(T))
    reader.fail(fmt::format("section 'VALS' has {} bytes, {} elements of {} bytes were expected", reader.length(),
                            count, sizeof(T)));
}

template <typename T> void readElements(ObjectReader & reader, T * elements) {
  reader.read(elements, reader.length());
  reader.endSection();
  reader.finish();
}

template <typename V> void encodeVector(V const & vector, std::shared_ptr<StreamAccess> stream) {
  encodeElements(vector.data(), vector.size(), Kind::VECTOR, std::move(stream));
}

template <typename T, size_t N> void decodeVector(std::shared_ptr<StreamAccess> stream, Vector<T, N> & vector) {
  auto reader = openValues<T>(std::move(stream), Kind::VECTOR, "a Vector");
  beginElements<T>(reader, N);
  readElements(reader, vector.data());
}

template <typename T> void decodeVector(std::shared_ptr<StreamAccess> stream, VectorX<T> & vector) {
  auto reader = openValues<T>(std::move(stream), Kind::VECTOR, "a Vector");
  reader.next({VALUES});
  if (reader.length() % sizeof(T) != 0)
    reader.fail(
        fmt::format("section 'VALS' has {} bytes, no multiple of the {} of an element", reader.length(), sizeof(T)));
  auto const bytes = reader.readSection();
  reader.finish();
  vector = VectorX<T>(bytes.size() / sizeof(T));
  if (!bytes.empty())
    std::memcpy(vector.data(), bytes.data(), bytes.size());
}

template <typename T, size_t N> void encodeMatrix(Matrix<T, N> const & matrix, std::shared_ptr<StreamAccess> stream) {
  encodeElements(matrix.data(), N * N, Kind::MATRIX, std::move(stream));
}

template <typename T, size_t N> void decodeMatrix(std::shared_ptr<StreamAccess> stream, Matrix<T, N> & matrix) {
  auto reader = openValues<T>(std::move(stream), Kind::MATRIX, "a Matrix");
  beginElements<T>(reader, N * N);
  readElements(reader, matrix.data());
}

template <typename T> void encodeArray(ArrayX<T> const & array, std::shared_ptr<StreamAccess> stream) {
  DataType const dataType(dataTypeIdOf<T>);
  auto const & shape = array.shape();
  auto layout = MemoryLayout::FORTRAN;
  std::unique_ptr<ArrayX<T>> dense;
  auto const * stored = &array;
  if (array.indexer().byteStride() == Indexer(shape, dataType, MemoryLayout::C).byteStride()) {
    layout = MemoryLayout::C;
  } else if (array.indexer().byteStride() != Indexer(shape, dataType, MemoryLayout::FORTRAN).byteStride()) {
    dense = std::make_unique<ArrayX<T>>(shape);
    readDense(array.indexer(), array.data(), RegionXu64::createFullRegion(shape), dense->data());
    stored = dense.get();
  }
  ContentBuilder header;
  header.put(uint64_t{shape.size()});
  header.putBytes(shape.data(), shape.size() * sizeof(uint64_t));
  header.put(static_cast<uint32_t>(layout));
  ObjectWriter writer(std::move(stream), Kind::ARRAY, dataType);
  writer.writeSection(ARRAY_SHAPE, header.bytes());
  writer.align();
  writer.writeSection(VALUES, std::as_bytes(std::span(stored->data(), stored->indexer().elementCount())));
  writer.finish();
}

template <typename T> ArrayX<T> decodeArray(std::shared_ptr<StreamAccess> stream) {
  auto reader = openValues<T>(std::move(stream), Kind::ARRAY, "an ArrayX");
  reader.next({ARRAY_SHAPE});
  auto const bytes = reader.readSection();
  ContentReader header(bytes, "ARRY");
  VectorXu64 shape(header.getCount(sizeof(uint64_t), "dimensions of an array"));
  uint64_t elements = 1;
  for (auto & extent : shape) {
    extent = header.get<uint64_t>("the shape");
    elements = checkedMultiply(elements, extent, "elements of an array");
  }
  if (shape.size() == 0)
    elements = 0;
  auto const layout = header.get<uint32_t>("the layout");
  if (layout != static_cast<uint32_t>(MemoryLayout::C) && layout != static_cast<uint32_t>(MemoryLayout::FORTRAN))
    reader.fail(fmt::format("the layout of an array is {}, neither C (1) nor FORTRAN (2)", layout));
  header.requireEnd();
  checkedMultiply(elements, sizeof(T), "bytes of an array");
  // A shape alone is not believed.
  beginElements<T>(reader, elements);
  ArrayX<T> array(Indexer(shape, DataType(dataTypeIdOf<T>), static_cast<MemoryLayout>(layout)));
  readElements(reader, array.data());
  return array;
}

} // namespace zarnik::format
