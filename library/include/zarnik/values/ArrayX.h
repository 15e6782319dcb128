#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/VectorX.h"

#include <cstddef>
#include <cstdint>
#include <string>

#ifndef SWIG
#include "zarnik/values/Indexer.h"
#endif

namespace zarnik {

/// Array of elements of one type in any number of dimensions, in a buffer of its own that an Indexer lays out.
template <typename T> class ZARNIK_API ArrayX {
public:
  typedef T ValueType;

  /// Create an array of zeros, the first dimension being the fastest in memory.
  ///
  /// \param shape Size along each dimension.
  /// \throws Error If there is not enough memory.
  explicit ArrayX(VectorXu64 const & shape);

  /// Create an array of zeros laid out by an indexer.
  ///
  /// \param indexer Shape and strides. Its data type is that of the array, and no dimension runs backwards.
  /// \throws InvalidArgument If the array cannot be laid out so.
  /// \throws Error If there is not enough memory.
  explicit ArrayX(Indexer const & indexer);

  /// Copy an array.
  ///
  /// \throws Error If there is not enough memory.
  ArrayX(ArrayX<T> const & other);

  /// Take over the buffer of another array, which is left without elements.
  ArrayX(ArrayX<T> && other) noexcept;

#ifndef SWIG
  ~ArrayX();
  ArrayX & operator=(ArrayX const & other);
  ArrayX & operator=(ArrayX && other) noexcept;

  /// The buffer: indexer().byteCount() bytes.
  T * data() { return data_; }
  T const * data() const { return data_; }
#endif

  /// The number of dimensions of the array.
  ///
  /// \return The length of the shape.
  size_t dimensionCount() const { return indexer_.dimensionCount(); }

  /// Return the shape of the array.
  ///
  /// \return The number of elements along each dimension.
  VectorXu64 const & shape() const { return indexer_.shape(); }

  /// Return the indexer instance used by the array.
  ///
  /// \return Shape, data type and byte strides of the array.
  Indexer const & indexer() const { return indexer_; }

  /// Get an element of the array.
  ///
  /// \param index Position of the element.
  /// \return The value of the element.
  /// \throws InvalidArgument If the index is invalid.
  T at(VectorX<uint64_t> const & index) const;

  /// Set a value to an element of the array.
  ///
  /// \param index Position of the element.
  /// \param value The new value.
  /// \throws InvalidArgument If the index is invalid.
  void setAt(VectorX<uint64_t> const & index, T value);

  /// Change the shape of the array.
  ///
  /// The elements keep their order in memory, and the array its C or FORTRAN layout; an array of one dimension
  /// takes the FORTRAN layout.
  /// \param shape The new size along each dimension.
  /// \throws InvalidArgument If the number of elements changes, or the array has neither layout.
  void reshape(VectorX<uint64_t> const & shape);

  /// Return a string representation of the array, as ((1, 2), (3, 4)): the last index is the innermost.
  ///
  /// Of arrays of more than 1000 elements it shows the first and last three along each dimension.
  ///
  /// \return The elements, or the shape of an array that has none.
  std::string toString() const;

  /// Check if two arrays have the same shape and equal elements, whatever their layout.
  ///
  /// \return True when all elements at the same index are equal.
  bool operator==(ArrayX<T> const & other) const;

  /// Check if two arrays differ in shape or in an element.
  ///
  /// \return True when they do.
  bool operator!=(ArrayX<T> const & other) const;

private:
#ifndef SWIG
  Indexer indexer_;
  T * data_ = nullptr;
#endif
};

#ifndef SWIG
#define ZARNIK_ARRAYS(type, suffix)                                                                                    \
  using ArrayX##suffix = ArrayX<type>;                                                                                 \
  extern template class ArrayX<type>;
ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_ARRAYS)
#undef ZARNIK_ARRAYS
#endif

} // namespace zarnik
