#pragma once

#include "module/Python.h"
#include "zarnik/metadata/ImageInterpretation.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/views/BorrowedMemoryView.h"

#include <memory>
#include <span>

namespace zarnik {

/// An image view whose pixels are those of a NumPy array, of any strides, without a copy.
///
/// Holds one reference to the array, which any thread may release. Element and region transfers touch raw memory only
/// and may run on any thread. Writing while NumPy calls the array read-only is an Error.
class NumpyImageView final : public BorrowedMemoryView {
public:
  /// \param array a NumPy array
  /// \param dimensions dimensions[i] is the image dimension along the array's axis i
  /// \throws Error when the dimensions do not fit the array, or its element type has no counterpart
  NumpyImageView(PyObject * array, ImageDimension const * dimensions, size_t dimensionCount,
                 ImageInterpretation interpretation, bool hasAlpha);

  /// Takes the array's axes as those of SEQUENCE, SLICE, ROW, COLUMN, CHANNEL that the image type has, in this order.
  NumpyImageView(PyObject * array, ImageType axesInterpretation, ImageInterpretation interpretation, bool hasAlpha);

  void write(VectorXu64 const & index, void const * source) override;
  void writeRegion(RegionXu64 const & region, void const * source) override;
  void requireWritable() const override;

private:
  struct Description;
  NumpyImageView(PyObject * array, Description description);
  static Description describe(PyObject * array, std::span<ImageDimension const> dimensions,
                              ImageInterpretation interpretation, bool hasAlpha);

  PyObject * array_; // kept by the memory's owner
};

} // namespace zarnik
