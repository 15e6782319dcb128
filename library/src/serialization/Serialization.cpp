#include "zarnik/serialization/Serialization.h"

#include "core/Guarded.h"
#include "serialization/FrameCodec.h"
#include "serialization/ImageCodec.h"
#include "serialization/ValueCodec.h"
#include "zarnik/serialization/StoredFrame.h"

#include <new>

namespace zarnik {
namespace {

/// Memory that cannot be had is an error like any other.
template <typename Work> auto withMemory(Work && work) {
  return guarded([&] {
    try {
      return work();
    } catch (std::bad_alloc const &) {
      throw Error("there is not enough memory to store or to load an object");
    }
  });
}

} // namespace

void Serialization::encodeImageView(std::shared_ptr<ImageView> image, std::shared_ptr<StreamAccess> outStream) {
  withMemory([&] { format::encodeImage(image, std::move(outStream)); });
}

std::shared_ptr<ImageView> Serialization::decodeImageView(std::shared_ptr<StreamAccess> inStream) {
  return withMemory([&]() -> std::shared_ptr<ImageView> { return format::decodeImage(std::move(inStream)); });
}

void Serialization::encodeDataFrameView(std::shared_ptr<DataFrameView> dataFrame,
                                        std::shared_ptr<StreamAccess> outStream) {
  withMemory([&] { format::encodeFrame(dataFrame, std::move(outStream)); });
}

void storeDataFrame(std::shared_ptr<DataFrameView> frame, std::shared_ptr<StreamAccess> stream,
                    Progress const & progress) {
  withMemory([&] { format::encodeFrame(frame, std::move(stream), progress); });
}

std::shared_ptr<DataFrameView> Serialization::decodeDataFrameView(std::shared_ptr<StreamAccess> inStream) {
  return withMemory([&]() -> std::shared_ptr<DataFrameView> { return format::decodeFrame(std::move(inStream)); });
}

#define ZARNIK_STORE_ARRAY(SUFFIX)                                                                                     \
  void Serialization::encodeArrayX##SUFFIX(ArrayX##SUFFIX const & src, std::shared_ptr<StreamAccess> dst) {            \
    withMemory([&] { format::encodeArray(src, std::move(dst)); });                                                     \
  }                                                                                                                    \
  ArrayX##SUFFIX Serialization::decodeArrayX##SUFFIX(std::shared_ptr<StreamAccess> src) {                              \
    return withMemory([&] { return format::decodeArray<ArrayX##SUFFIX::ValueType>(std::move(src)); });                 \
  }
ZARNIK_FOR_EACH_STORED_ARRAY(ZARNIK_STORE_ARRAY)
#undef ZARNIK_STORE_ARRAY

#define ZARNIK_STORE(FAMILY, SUFFIX, parameter)                                                                        \
  void Serialization::encode##FAMILY##SUFFIX(FAMILY##SUFFIX const & parameter,                                         \
                                             std::shared_ptr<StreamAccess> outStream) {                                \
    withMemory([&] { format::encode##FAMILY(parameter, std::move(outStream)); });                                      \
  }                                                                                                                    \
  FAMILY##SUFFIX Serialization::decode##FAMILY##SUFFIX(std::shared_ptr<StreamAccess> inStream) {                       \
    return withMemory([&] {                                                                                            \
      FAMILY##SUFFIX value;                                                                                            \
      format::decode##FAMILY(std::move(inStream), value);                                                              \
      return value;                                                                                                    \
    });                                                                                                                \
  }
#define ZARNIK_STORE_VECTOR(SUFFIX) ZARNIK_STORE(Vector, SUFFIX, vect)
#define ZARNIK_STORE_MATRIX(SUFFIX) ZARNIK_STORE(Matrix, SUFFIX, mat)
ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_STORE_VECTOR, 2)
ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_STORE_VECTOR, 3)
ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_STORE_VECTOR, 4)
ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_STORE_VECTOR, X)
ZARNIK_FOR_EACH_STORED_MATRIX(ZARNIK_STORE_MATRIX)
#undef ZARNIK_STORE_VECTOR
#undef ZARNIK_STORE_MATRIX
#undef ZARNIK_STORE

} // namespace zarnik
