#pragma once

#include "module/Python.h"
#include "zarnik/metadata/ImageInterpretation.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/views/ImageView.h"

#include <memory>
#include <vector>

namespace zarnik {

/// Conversions between NumPy arrays and image views that share memory.
class NumpyInterop {
public:
  /// Creates a numpy array from an ImageView object.
  ///
  /// Data are not duplicated during this operation.
  ///
  /// The axes of the array are those of the view from the last to the first, so that the array has the shape and the
  /// indices that NumPy users expect; a CHANNEL axis, and the components of vector data, come last. A view whose axes
  /// are unknown keeps the order of its axes.
  ///
  /// Examples:
  ///  - a volume of shape (12, 4, 6) gives an array of shape (6, 4, 12)
  ///  - the same view holding Vector3u16 data gives an array of shape (6, 4, 12, 3)
  ///
  /// The array keeps the view alive.
  /// \param image The view, which must support MEMORY_ACCESS.
  /// \return A numpy array over the memory of the view.
  /// \throws TypeError if image is no ImageView
  /// \throws ValueError if the view does not support MEMORY_ACCESS
  static PyObject * toNumpyArray(PyObject * image);

  /// Creates a numpy array from an ImageView object by specifying axes order.
  ///
  /// It is only callable if ImageView has an axes interpretation different of UNKNWOWN.
  /// Data are not copied; the array keeps the view alive. Vector data has its components along CHANNEL.
  /// \param image The view, which must support MEMORY_ACCESS.
  /// \param dimensionList The ImageDimension of each axis of the array.
  /// \return A numpy array over the memory of the view.
  /// \throws Error if the list does not name the dimensions of the view
  static PyObject * orderToNumpyArray(PyObject * image, zarnik::ImageDimension const * dimensionList,
                                      size_t dimensionCount);

  /// Creates an ImageView from a numpy array.
  ///
  /// Data are not duplicated during this operation.
  ///
  /// The axes of the array are taken in the order SEQUENCE, SLICE, ROW, COLUMN, CHANNEL, keeping those that the axes
  /// interpretation has. The view keeps the array alive.
  /// \param np The numpy array, of any strides.
  /// \param axesInterpretation The dimensions of the image.
  /// \param interpretation The colour interpretation.
  /// \param hasAlpha Whether the last channel is an alpha channel.
  /// \return An ImageView over the memory of the array.
  /// \throws Error if the array does not fit the other arguments
  static std::shared_ptr<zarnik::ImageView> fromNumpyArray(PyObject * np, zarnik::ImageType axesInterpretation,
                                                           zarnik::ImageInterpretation interpretation, bool hasAlpha);

  /// Creates an ImageView from a numpy array by specifying axes order.
  ///
  /// Data are not duplicated during this operation.
  /// \param np The numpy array, of any strides.
  /// \param dimensionList The ImageDimension of each axis of the array.
  /// \param interpretation The colour interpretation.
  /// \param hasAlpha Whether the last channel is an alpha channel.
  /// \return An ImageView over the memory of the array, which it keeps alive.
  /// \throws Error if the array does not fit the other arguments
  static std::shared_ptr<zarnik::ImageView>
  orderFromNumpyArray(PyObject * const np, zarnik::ImageDimension const * dimensionList, size_t axisCount,
                      zarnik::ImageInterpretation interpretation, bool hasAlpha);
};

#ifndef SWIG
namespace python {

/// False with TypeError pending for an object that is no NumPy array.
bool requireArray(PyObject * object);

/// The dimensions of an array's axes, in the array's order; false with an error pending when the object is no list of
/// them, or an empty one.
bool readAxes(PyObject * list, std::vector<ImageDimension> & dimensions);

} // namespace python
#endif

} // namespace zarnik
