#include "views/ImageViewProperties.h"

#include "zarnik/core/Error.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/views/ImageView.h"

#include <fmt/format.h>

namespace zarnik {
namespace {

ImageType usualAxes(size_t dimensionCount) {
  using enum ImageDimension;
  switch (dimensionCount) {
  case 1:
    return ImageType() | COLUMN;
  case 2:
    return COLUMN | ROW;
  case 3:
    return COLUMN | ROW | SLICE;
  case 4:
    return COLUMN | ROW | SLICE | SEQUENCE;
  case 5:
    return COLUMN | ROW | SLICE | CHANNEL | SEQUENCE;
  default:
    return ImageType();
  }
}

} // namespace

VectorXu64 const & imageShape(VectorXu64 const & shape) {
  if (shape.size() > ImageView::MAXIMUM_DIMENSION_COUNT)
    throw InvalidArgument(fmt::format("an image cannot have {} dimensions, allowed are up to {}", shape.size(),
                                      ImageView::MAXIMUM_DIMENSION_COUNT));
  return shape;
}

std::shared_ptr<ImageProperties> defaultProperties(VectorXu64 const & shape, DataType dataType) {
  imageShape(shape);
  auto properties = ImageProperties::fromDataType(dataType);
  properties->imageInfo().setAxesInterpretation(usualAxes(shape.size()));
  return properties;
}

std::shared_ptr<ImageProperties> fittingProperties(std::shared_ptr<ImageProperties const> const & properties,
                                                   VectorXu64 const & shape, DataType dataType) {
  imageShape(shape);
  properties->requireCompatibleWith(shape, dataType);
  return properties->clone();
}

std::shared_ptr<ImageProperties> changedProperties(std::shared_ptr<ImageProperties const> const & properties,
                                                   VectorXu64 const & shape, DataType dataType) {
  if (!properties)
    throw InvalidArgument("the properties of an image cannot be null");
  properties->requireSettableOn(shape, dataType);
  return properties->clone();
}

} // namespace zarnik
