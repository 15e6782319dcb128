#pragma once

#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/VectorX.h"

#include <memory>

namespace zarnik {

/// The shape itself.
/// \throws InvalidArgument when it has more dimensions than an image can have
VectorXu64 const & imageShape(VectorXu64 const & shape);

/// The properties of a new image: those of its data type, the axes after the number of dimensions,
/// unknown for more than the five that have a name.
std::shared_ptr<ImageProperties> defaultProperties(VectorXu64 const & shape, DataType dataType);

/// A copy of the properties for a new image to keep.
/// \throws InvalidArgument when they do not fit
std::shared_ptr<ImageProperties> fittingProperties(std::shared_ptr<ImageProperties const> const & properties,
                                                   VectorXu64 const & shape, DataType dataType);

/// A copy of the properties for an image that exists to keep.
/// \throws InvalidArgument when they are null or cannot be set on the image
std::shared_ptr<ImageProperties> changedProperties(std::shared_ptr<ImageProperties const> const & properties,
                                                   VectorXu64 const & shape, DataType dataType);

} // namespace zarnik
