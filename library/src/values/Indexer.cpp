#include "zarnik/values/Indexer.h"

#include "core/Guarded.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <numeric>
#include <utility>

namespace zarnik {

namespace {

constexpr uint64_t LARGEST_OFFSET = std::numeric_limits<int64_t>::max();

bool runsBackwards(uint64_t byteStride) { return byteStride > LARGEST_OFFSET; }

uint64_t magnitude(uint64_t byteStride) { return runsBackwards(byteStride) ? 0 - byteStride : byteStride; }

VectorXu64 order(size_t dimensionCount, MemoryLayout memoryLayout) {
  VectorXu64 layout(dimensionCount);
  std::iota(layout.begin(), layout.end(), uint64_t{0});
  switch (memoryLayout) {
  case MemoryLayout::UNKNOWN:
  case MemoryLayout::FORTRAN:
    return layout;
  case MemoryLayout::C:
    std::reverse(layout.begin(), layout.end());
    return layout;
  }
  throw InvalidArgument(message("memory layout {} is unknown, allowed are 0 (UNKNOWN), 1 (C) and 2 (FORTRAN)",
                                static_cast<int>(memoryLayout)));
}

// Equal strides keep the order of the dimensions; a unit dimension has its place by its stride all the same.
VectorXu64 orderByStride(VectorXu64 const & byteStrides) {
  auto layout = order(byteStrides.size(), MemoryLayout::FORTRAN);
  std::sort(layout.begin(), layout.end(), [&byteStrides](uint64_t left, uint64_t right) {
    auto const leftStride = magnitude(byteStrides[left]);
    auto const rightStride = magnitude(byteStrides[right]);
    return leftStride != rightStride ? leftStride < rightStride : left < right;
  });
  return layout;
}

// An extent of 0 counts as 1, so that the strides of empty shapes stay usable.
VectorXu64 denseStrides(VectorXu64 const & shape, DataType dtype, VectorXu64 const & layout) {
  VectorXu64 byteStrides(shape.size());
  uint64_t stride = dtype.byteCount();
  for (auto const axis : layout) {
    byteStrides[axis] = stride;
    stride = checkedMultiply(stride, std::max<uint64_t>(shape[axis], 1), "bytes of the shape");
  }
  return byteStrides;
}

void requireOrder(VectorXu64 const & layout, size_t dimensionCount) {
  auto sorted = layout;
  std::sort(sorted.begin(), sorted.end());
  if (sorted != order(dimensionCount, MemoryLayout::FORTRAN))
    throw InvalidArgument(message("layout {} is no order of {} dimensions", layout.toString(), dimensionCount));
}

void requireSize(char const * what, size_t size, size_t dimensionCount) {
  if (size != dimensionCount)
    throw InvalidArgument(message("{} given for {} dimensions, the shape has {}", what, size, dimensionCount));
}

uint64_t component(char const * what, VectorXu64 const & vector, size_t index) {
  if (index >= vector.size())
    detail::throwIndexBeyond(what, index, vector.size());
  return vector[index];
}

uint64_t inElements(uint64_t bytes, DataType dtype) {
  return static_cast<uint64_t>(static_cast<int64_t>(bytes) / static_cast<int64_t>(dtype.byteCount()));
}

} // namespace

Indexer::Indexer(VectorXu64 const & shape, DataType dtype) : Indexer(shape, dtype, MemoryLayout::FORTRAN) {}

Indexer::Indexer(VectorXu64 const & shape, DataType dtype, MemoryLayout memoryLayout)
    : shape_(shape), layout_(order(shape.size(), memoryLayout)), dtype_(dtype) {
  byteStrides_ = denseStrides(shape_, dtype_, layout_);
  measure();
}

Indexer::Indexer(VectorXu64 const & shape, DataType dtype, VectorXu64 const & byteStrides)
    : shape_(shape), byteStrides_(byteStrides), layout_(orderByStride(byteStrides)), dtype_(dtype) {
  requireSize("byte strides", byteStrides_.size(), shape_.size());
  measure();
}

Indexer::Indexer(VectorXu64 const & shape, DataType dtype, VectorXu64 const & byteStrides, VectorXu64 const & layout)
    : shape_(shape), byteStrides_(byteStrides), layout_(layout), dtype_(dtype) {
  requireSize("byte strides", byteStrides_.size(), shape_.size());
  requireSize("layout", layout_.size(), shape_.size());
  requireOrder(layout_, shape_.size());
  measure();
}

Indexer::Indexer(Indexer && other) noexcept : Indexer() { *this = std::move(other); }

Indexer & Indexer::operator=(Indexer && other) noexcept {
  if (this != &other) {
    shape_ = std::move(other.shape_);
    byteStrides_ = std::move(other.byteStrides_);
    layout_ = std::move(other.layout_);
    dtype_ = std::exchange(other.dtype_, DataType());
    elementCount_ = std::exchange(other.elementCount_, 0);
    byteCount_ = std::exchange(other.byteCount_, 0);
    firstByteOffset_ = std::exchange(other.firstByteOffset_, 0);
  }
  return *this;
}

// Counts the elements and the bytes that they span, with every product and sum checked.
void Indexer::measure() {
  auto const isEmpty = std::find(shape_.begin(), shape_.end(), uint64_t{0}) != shape_.end();
  if (isEmpty)
    return;
  elementCount_ = 1;
  uint64_t before = 0;
  uint64_t after = dtype_.byteCount();
  for (size_t axis = 0; axis != shape_.size(); ++axis) {
    elementCount_ = checkedMultiply(elementCount_, shape_[axis], "elements of the shape");
    auto & side = runsBackwards(byteStrides_[axis]) ? before : after;
    auto const extent = checkedMultiply(shape_[axis] - 1, magnitude(byteStrides_[axis]), "bytes of the shape");
    side = checkedAdd(side, extent, "bytes of the shape");
  }
  byteCount_ = checkedAdd(before, after, "bytes of the shape");
  if (byteCount_ > LARGEST_OFFSET || elementCount_ > LARGEST_OFFSET)
    throw InvalidArgument(message("shape {} spans {} elements and {} bytes, allowed are up to {}", shape_.toString(),
                                  elementCount_, byteCount_, LARGEST_OFFSET));
  firstByteOffset_ = -static_cast<int64_t>(before);
}

size_t Indexer::shape(size_t dimension) const { return component("dimension", shape_, dimension); }

VectorXu64 Indexer::stride() const {
  auto strides = byteStrides_;
  for (auto & stride : strides)
    stride = inElements(stride, dtype_);
  return strides;
}

size_t Indexer::stride(size_t dimension) const { return inElements(byteStride(dimension), dtype_); }

size_t Indexer::byteStride(size_t dimension) const { return component("dimension", byteStrides_, dimension); }

size_t Indexer::layout(size_t order) const { return component("order", layout_, order); }

size_t Indexer::offset(VectorX<uint64_t> const & index) const { return inElements(byteOffset(index), dtype_); }

void Indexer::throwOutside(VectorXu64 const & index) const {
  throw InvalidArgument(message("index {} is outside of shape {}", index.toString(), shape_.toString()));
}

bool Indexer::isContinuous() const {
  if (elementCount_ == 0)
    return true;
  uint64_t expected = dtype_.byteCount();
  // By stride and not by the layout given, which says nothing about padding.
  for (auto const axis : orderByStride(byteStrides_)) {
    if (shape_[axis] == 1)
      continue;
    if (byteStrides_[axis] != expected)
      return false;
    expected *= shape_[axis];
  }
  return true;
}

bool Indexer::operator==(Indexer const & other) const {
  return shape_ == other.shape_ && dtype_ == other.dtype_ && byteStrides_ == other.byteStrides_ &&
         layout_ == other.layout_ && elementCount_ == other.elementCount_;
}

bool Indexer::operator!=(Indexer const & other) const { return !(*this == other); }

} // namespace zarnik
