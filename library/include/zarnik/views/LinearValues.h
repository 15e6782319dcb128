#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/layout/ScalarType.h"
#include "zarnik/values/DataType.h"
#include "zarnik/views/ImageView.h"

#include <memory>

namespace zarnik {

/// Create a view of the values of an image times a scale plus an offset: what files tell of their stored numbers.
///
/// Exactly that, as nothing is computed from ranges. The value range of the view is what becomes of that of the image.
/// \param image    The image to show.
/// \param dataType The type of the result; values that it cannot hold become the nearest that it can.
/// \param map      Finite numbers.
/// \return The new view.
/// \throws InvalidArgument if the image is null, a number is not finite, or the types cannot be converted.
ZARNIK_API std::shared_ptr<ImageView> mapLinearly(std::shared_ptr<ImageView> image, DataType dataType,
                                                  LinearMap const & map);

} // namespace zarnik
