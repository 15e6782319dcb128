#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/VectorX.h"

#include <cstddef>
#include <cstdint>

namespace zarnik {

/// Order of the dimensions in memory.
///
/// C: the last dimension is the fastest. FORTRAN: the first dimension is the fastest. UNKNOWN stands for FORTRAN.
enum class MemoryLayout { UNKNOWN = 0, C = 1, FORTRAN = 2 };

/// Maps the position of an element to its place in a buffer: shape, element type, dimension order and strides.
///
/// Byte strides are counted modulo 2^64: a dimension that runs backwards through memory has the stride 2^64 - n,
/// and offsets wrap in the same way.
class ZARNIK_API Indexer {
public:
  /// Create an indexer of nothing: no dimensions, no elements, no bytes.
  Indexer() = default;

  /// Create an indexer of elements that follow each other, the first dimension being the fastest.
  ///
  /// \param shape Size along each dimension.
  /// \param dtype Type of an element.
  /// \throws InvalidArgument If the number of bytes does not fit 63 bits.
  Indexer(VectorXu64 const & shape, DataType dtype);

  /// Create an indexer of elements that follow each other.
  ///
  /// \param shape Size along each dimension.
  /// \param dtype Type of an element.
  /// \param memoryLayout C: the last dimension is the fastest. FORTRAN, UNKNOWN: the first one is.
  /// \throws InvalidArgument If the number of bytes does not fit 63 bits, or the layout is none of the three.
  Indexer(VectorXu64 const & shape, DataType dtype, MemoryLayout memoryLayout);

  /// Create an indexer with given strides.
  ///
  /// The dimension order is that of the strides, the smallest being the fastest.
  /// \param shape Size along each dimension.
  /// \param dtype Type of an element.
  /// \param byteStrides Step between neighbours along each dimension, in bytes modulo 2^64.
  /// \throws InvalidArgument If the sizes differ, or the number of elements or bytes does not fit 63 bits.
  Indexer(VectorXu64 const & shape, DataType dtype, VectorXu64 const & byteStrides);

  /// Create an indexer with given strides and dimension order.
  ///
  /// \param shape Size along each dimension.
  /// \param dtype Type of an element.
  /// \param byteStrides Step between neighbours along each dimension, in bytes modulo 2^64.
  /// \param layout Entry n is the index of the nth dimension in memory order, each index once.
  /// \throws InvalidArgument If the sizes differ, the number of elements or bytes does not fit 63 bits, or the
  /// layout is no order of the dimensions.
  Indexer(VectorXu64 const & shape, DataType dtype, VectorXu64 const & byteStrides, VectorXu64 const & layout);

  /// Copy an indexer.
  Indexer(Indexer const & other) = default;

  /// Take over another indexer, which is left without dimensions.
  Indexer(Indexer && other) noexcept;

#ifndef SWIG
  Indexer & operator=(Indexer const & other) = default;
  Indexer & operator=(Indexer && other) noexcept;
#endif

  /// The number of dimensions managed by this indexer.
  ///
  /// \return The length of the shape.
  size_t dimensionCount() const { return shape_.size(); }

  /// Return the type of an element.
  ///
  /// \return Its data type, which tells the bytes of an element.
  DataType dtype() const { return dtype_; }

  /// Return the shape
  ///
  /// \return The number of elements along each dimension.
  VectorXu64 const & shape() const { return shape_; }

  /// Return the current size for given dimension.
  ///
  /// \param dimension Index of the dimension.
  /// \return The number of elements along the dimension.
  /// \throws InvalidArgument If there is no such dimension.
  size_t shape(size_t dimension) const;

  /// Return the stride in elements of this Indexer.
  ///
  /// Strides that are no multiple of the element's bytes are rounded toward zero.
  /// \deprecated Deprecated in 1.8, will be dropped in 2.0, you should use the
  /// byteStride method instead.
  /// \return The step between neighbours along each dimension, in elements.
  VectorXu64 stride() const;

  /// Return the stride in elements for given dimension.
  ///
  /// \deprecated Deprecated in 1.8, will be dropped in 2.0, you should use the
  /// byteStride method instead.
  /// \param dimension Index of the dimension.
  /// \return The step between neighbours along the dimension, in elements.
  /// \throws InvalidArgument If there is no such dimension.
  size_t stride(size_t dimension) const;

  /// Return the stride in bytes of this Indexer.
  ///
  /// \return the stride in bytes of this Indexer.
  VectorXu64 const & byteStride() const { return byteStrides_; }

  /// Return the stride in bytes for given dimension.
  ///
  /// \param dimension Index of the dimension.
  /// \return The step between neighbours along the dimension, in bytes modulo 2^64.
  /// \throws InvalidArgument If there is no such dimension.
  size_t byteStride(size_t dimension) const;

  /// Return the layout dimension order.
  ///
  /// \return The dimensions in memory order.
  VectorXu64 const & layout() const { return layout_; }

  /// Return the dimension index of the nth one in order.
  ///
  /// \param order Position in memory order.
  /// \return The index of a dimension; order 0 gives the fastest one.
  /// \throws InvalidArgument If there is no such position.
  size_t layout(size_t order) const;

  /// Returns the number of elements managed by this Indexer.
  ///
  /// \return The product of the shape.
  size_t elementCount() const { return elementCount_; }

  /// Return the number of bytes to address the elements, padding included.
  ///
  /// It is the distance from the first byte of the element that comes first in memory to the end of the one that
  /// comes last.
  ///
  /// \return The bytes, 0 if there are no elements.
  size_t byteCount() const { return byteCount_; }

  /// Computes the linear offset in elements to the given index.
  ///
  /// \deprecated Deprecated in 1.8, will be dropped in 2.0, you should use the
  /// byteOffset method instead.
  /// \param index Position of the element.
  /// \return The byte offset divided by the bytes of an element, rounded toward zero.
  /// \throws InvalidArgument If the index is invalid.
  size_t offset(VectorX<uint64_t> const & index) const;

  /// Computes the offset in bytes to the given index.
  ///
  /// \param index Position of the element.
  /// \return The offset modulo 2^64.
  /// \throws InvalidArgument If the index is invalid.
  size_t byteOffset(VectorX<uint64_t> const & index) const {
    if (index.size() != shape_.size())
      detail::throwSizeMismatch("dimensions of index and shape", index.size(), shape_.size());
    if (elementCount_ == 0)
      throwOutside(index);
    uint64_t sum = 0;
    for (size_t axis = 0; axis != shape_.size(); ++axis) {
      if (index[axis] >= shape_[axis])
        throwOutside(index);
      sum += index[axis] * byteStrides_[axis];
    }
    return sum;
  }

  /// Check if the elements are contiguous.
  ///
  /// Elements are considered contiguous if they follow each other without any padding.
  ///
  /// \return True when they are, in any order of the dimensions, and when there are none.
  bool isContinuous() const;

  /// Check if two indexers map the same positions of the same type in the same way.
  ///
  /// \return True when shape, data type, byte strides and layout are equal.
  bool operator==(Indexer const & other) const;

  /// Check if two indexers differ.
  ///
  /// \return True when shape, data type, byte strides or layout differ.
  bool operator!=(Indexer const & other) const;

#ifndef SWIG
  /// Byte offset, at most 0, of the element that comes first in memory: below 0 where a dimension runs backwards.
  /// The elements fill the bytes [firstByteOffset(), firstByteOffset() + byteCount()).
  int64_t firstByteOffset() const { return firstByteOffset_; }
#endif

private:
#ifndef SWIG
  [[noreturn]] void throwOutside(VectorXu64 const & index) const;
  void measure();

  VectorXu64 shape_;
  VectorXu64 byteStrides_;
  VectorXu64 layout_;
  DataType dtype_;
  uint64_t elementCount_ = 0;
  uint64_t byteCount_ = 0;
  int64_t firstByteOffset_ = 0;
#endif
};

} // namespace zarnik
