#include "zarnik/values/ArrayX.h"

#include "Components.h"
#include "core/Guarded.h"
#include "zarnik/values/DataType.h"

#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <utility>

namespace zarnik {

namespace {

// Like long vectors: larger arrays are printed with a few elements at each end of each axis.
using components::PRINTED_ENDS;
using components::PRINTED_WHOLE;

template <typename T> T * allocate(Indexer const & indexer) {
  DataType const dtype = dataTypeIdOf<T>;
  if (indexer.dtype() != dtype)
    throw InvalidArgument(
        message("an array of {} cannot be laid out for {}", dtype.toString(), indexer.dtype().toString()));
  if (indexer.firstByteOffset() < 0)
    throw InvalidArgument(message("an array cannot begin {} bytes before its buffer", -indexer.firstByteOffset()));
  for (auto const byteStride : indexer.byteStride()) {
    if (byteStride % sizeof(T) != 0)
      throw InvalidArgument(
          message("byte stride {} is no multiple of the {} bytes of {}", byteStride, sizeof(T), dtype.toString()));
  }
  return static_cast<T *>(detail::allocateZeroed(indexer.byteCount(), 1, "an array"));
}

// Calls visit(index) for each index of a shape, the last dimension running fastest.
template <typename Visit> void forEachIndex(VectorXu64 const & shape, Visit visit) {
  VectorXu64 index(shape.size());
  while (true) {
    visit(index);
    auto axis = shape.size();
    while (axis != 0 && ++index[axis - 1] == shape[axis - 1])
      index[--axis] = 0;
    if (axis == 0)
      return;
  }
}

// Not recursive: nothing limits the number of dimensions.
template <typename T> std::string print(ArrayX<T> const & array) {
  auto const & shape = array.shape();
  auto const isWhole = array.indexer().elementCount() <= PRINTED_WHOLE;
  auto const rank = shape.size();
  VectorXu64 index(rank);
  std::string text(rank, '(');
  while (true) {
    fmt::format_to(std::back_inserter(text), "{}", +array.at(index));
    auto axis = rank;
    while (axis != 0 && ++index[axis - 1] == shape[axis - 1]) {
      index[--axis] = 0;
      text += ')';
    }
    if (axis == 0)
      return text;
    text += ", ";
    auto & position = index[axis - 1];
    if (auto const extent = shape[axis - 1]; !isWhole && position == PRINTED_ENDS && extent > 2 * PRINTED_ENDS) {
      position = extent - PRINTED_ENDS;
      text += "..., ";
    }
    text.append(rank - axis, '(');
  }
}

} // namespace

template <typename T> ArrayX<T>::ArrayX(VectorXu64 const & shape) : ArrayX(Indexer(shape, dataTypeIdOf<T>)) {}

template <typename T> ArrayX<T>::ArrayX(Indexer const & indexer) : indexer_(indexer), data_(allocate<T>(indexer)) {}

template <typename T> ArrayX<T>::ArrayX(ArrayX<T> const & other) : indexer_(other.indexer_) {
  if (other.data_ != nullptr) {
    data_ = allocate<T>(indexer_);
    std::memcpy(data_, other.data_, indexer_.byteCount());
  }
}

template <typename T> ArrayX<T>::ArrayX(ArrayX<T> && other) noexcept
    : indexer_(std::move(other.indexer_)), data_(std::exchange(other.data_, nullptr)) {}

template <typename T> ArrayX<T>::~ArrayX() { detail::freeZeroed(data_); }

template <typename T> ArrayX<T> & ArrayX<T>::operator=(ArrayX<T> const & other) {
  if (this != &other)
    *this = ArrayX<T>(other);
  return *this;
}

template <typename T> ArrayX<T> & ArrayX<T>::operator=(ArrayX<T> && other) noexcept {
  if (this != &other) {
    detail::freeZeroed(data_);
    indexer_ = std::move(other.indexer_);
    data_ = std::exchange(other.data_, nullptr);
  }
  return *this;
}

template <typename T> T ArrayX<T>::at(VectorX<uint64_t> const & index) const {
  return data_[indexer_.byteOffset(index) / sizeof(T)];
}

template <typename T> void ArrayX<T>::setAt(VectorX<uint64_t> const & index, T value) {
  data_[indexer_.byteOffset(index) / sizeof(T)] = value;
}

template <typename T> void ArrayX<T>::reshape(VectorX<uint64_t> const & shape) {
  auto const layoutIs = [this](MemoryLayout memoryLayout) {
    return indexer_ == Indexer(indexer_.shape(), indexer_.dtype(), memoryLayout);
  };
  auto const isFortran = layoutIs(MemoryLayout::FORTRAN);
  if (!isFortran && !layoutIs(MemoryLayout::C)) {
    throw InvalidArgument(
        message("an array with byte strides {} cannot be reshaped, it has neither C nor FORTRAN layout",
                indexer_.byteStride().toString()));
  }
  Indexer reshaped(shape, indexer_.dtype(), isFortran ? MemoryLayout::FORTRAN : MemoryLayout::C);
  if (reshaped.elementCount() != indexer_.elementCount())
    throw InvalidArgument(message("an array of {} elements cannot take shape {}, which has {}", indexer_.elementCount(),
                                  shape.toString(), reshaped.elementCount()));
  indexer_ = std::move(reshaped);
}

template <typename T> std::string ArrayX<T>::toString() const {
  return guarded([&] {
    return indexer_.elementCount() == 0 ? fmt::format("(array of shape {})", shape().toString()) : print(*this);
  });
}

template <typename T> bool ArrayX<T>::operator==(ArrayX<T> const & other) const {
  if (shape() != other.shape() || indexer_.elementCount() != other.indexer_.elementCount())
    return false;
  if (indexer_ == other.indexer_ && indexer_.isContinuous())
    return components::areEqual(data_, other.data_, indexer_.elementCount());
  bool areEqual = true;
  if (indexer_.elementCount() != 0)
    forEachIndex(shape(), [&](VectorXu64 const & index) { areEqual = areEqual && at(index) == other.at(index); });
  return areEqual;
}

template <typename T> bool ArrayX<T>::operator!=(ArrayX<T> const & other) const { return !(*this == other); }

#define ZARNIK_ARRAYS(type, suffix) template class ArrayX<type>;
ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_ARRAYS)

} // namespace zarnik
