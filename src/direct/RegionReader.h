#pragma once

#include "module/Reference.h"
#include "zarnik/values/RegionX.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zarnik {
class ImageView;
} // namespace zarnik

namespace zarnik::python {

/// What decides how the dimensions and elements of an image become the axes of an array.
struct ImageKind {
  uint64_t axes;     ///< of ImageType::value()
  uint64_t dataType; ///< of DataType::id()
  size_t rank;

  friend auto operator<=>(ImageKind const &, ImageKind const &) = default; // NOLINT(modernize-use-nullptr)
};

ImageKind kindOf(ImageView & view);

/// How regions of one kind of image are read: into a C ordered buffer whose axes are the dimensions of the image from
/// last to first and then those of the components, which is shown with its axes in another order.
struct ArrayLayout {
  Reference elementType;          ///< a numpy.dtype without a shape of its own
  std::vector<size_t> components; ///< shape of one element of the image
  std::vector<size_t> axes;       ///< axes[i] is the axis of the buffer that is axis i of the array
};

/// Remembers the layout of a kind of image, for good.
void addLayout(ImageKind const & kind, ArrayLayout layout);

/// The elements of a region as a new array; none when this kind of image has no layout yet or no array can be made.
/// \throws InvalidArgument if the region leaves the image
/// \throws PendingError when a signal handler raised
Reference readRegion(std::shared_ptr<ImageView> const & view, RegionXu64 const & region);

/// The element of an image in memory at an index in the order of an array's axes, as NumPy's scalar; none when one of
/// these is not so, the index has no or too many integers or leaves the image, or elements have several components.
/// \param key a tuple
Reference readElement(std::shared_ptr<ImageView> const & view, PyObject * key);

} // namespace zarnik::python
