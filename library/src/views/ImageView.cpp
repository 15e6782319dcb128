#include "zarnik/views/ImageView.h"

#include "core/Guarded.h"
#include "views/FlagNames.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>

namespace zarnik {
namespace {

[[noreturn]] void throwMissing(ImageView const & image, ImageCapability capability) {
  throw NotImplemented(fmt::format("the image does not support {} (its capabilities: {})", flagNames(capability),
                                   flagNames(image.capabilities())));
}

void requireIndex(ImageView const & image, ImageCapability capability, VectorXu64 const & index) {
  if (!image.support(capability))
    throwMissing(image, capability);
  if (index.size() != image.dimensionCount())
    detail::throwSizeMismatch("dimensions of index and image", index.size(), image.dimensionCount());
}

/// Sets a copy of the image's properties after a change, so that a refused change leaves the image as it was.
template <typename Change> void changeProperties(ImageView & image, Change change) {
  if (!image.support(ImageCapability::WRITE))
    throwMissing(image, ImageCapability::WRITE);
  auto properties = toldProperties(image)->clone();
  change(*properties);
  image.setProperties(std::move(properties));
}

} // namespace

std::shared_ptr<ImageProperties const> toldProperties(ImageView const & image) {
  auto properties = image.properties();
  if (!properties)
    throw Error("the image tells no properties");
  return properties;
}

ImageView::~ImageView() = default;

size_t ImageView::dimensionCount() const { return shape().size(); }

bool ImageView::support(ImageCapabilitySet capabilities) const { return this->capabilities().has(capabilities); }

std::string ImageView::toString() const {
  return guarded([&] {
    auto const known = properties();
    auto const axes = known ? known->imageInfo().axesInterpretation() : ImageType();
    auto const origin = viewOrigin();
    auto const chain = origin && origin->parentCount() > 0 ? ", " + origin->displayName() : std::string();
    return fmt::format("ImageView(shape {}, {}, {}, {}{})", shape().toString(), dataType().toString(), axes.toString(),
                       flagNames(capabilities()), chain);
  });
}

ImageInterpretation ImageView::imageInterpretation() const {
  return toldProperties(*this)->imageInfo().interpretation();
}
ImageType ImageView::axesInterpretation() const { return toldProperties(*this)->imageInfo().axesInterpretation(); }
Vector3d ImageView::spatialOrigin() const { return toldProperties(*this)->calibration().origin(); }
Vector3d ImageView::spatialSpacing() const { return toldProperties(*this)->calibration().spacing(); }
std::string ImageView::spatialUnit() const { return toldProperties(*this)->calibration().unit(); }
SpatialDirections ImageView::spatialDirections() const { return toldProperties(*this)->calibration().directions(); }
size_t ImageView::bitDepth() const { return toldProperties(*this)->imageInfo().bitDepth(); }
bool ImageView::hasAlpha() const { return toldProperties(*this)->imageInfo().alpha(); }
Vector2d ImageView::valueRange() const { return toldProperties(*this)->imageInfo().valueRange(); }

void ImageView::setImageInterpretation(ImageInterpretation interpretation) {
  changeProperties(*this, [&](auto & properties) { properties.imageInfo().setInterpretation(interpretation); });
}

void ImageView::setAxesInterpretation(ImageType axesInterpretation) {
  changeProperties(*this, [&](auto & properties) { properties.imageInfo().setAxesInterpretation(axesInterpretation); });
}

void ImageView::setSpatialOrigin(Vector3d const & origin) {
  changeProperties(*this, [&](auto & properties) { properties.calibration().setOrigin(origin); });
}

void ImageView::setSpatialSpacing(Vector3d const & spacing) {
  changeProperties(*this, [&](auto & properties) { properties.calibration().setSpacing(spacing); });
}

void ImageView::setSpatialUnit(std::string const & unit) {
  changeProperties(*this, [&](auto & properties) { properties.calibration().setUnit(unit); });
}

void ImageView::setSpatialDirections(SpatialDirections const & directions) {
  changeProperties(*this, [&](auto & properties) { properties.calibration().setDirections(directions); });
}

void ImageView::setBitDepth(size_t bitDepth) {
  changeProperties(*this, [&](auto & properties) { properties.imageInfo().setBitDepth(bitDepth); });
}

void ImageView::setAlpha(bool alpha) {
  changeProperties(*this, [&](auto & properties) { properties.imageInfo().setAlpha(alpha); });
}

void ImageView::setValueRange(Vector2d const & range) {
  changeProperties(*this, [&](auto & properties) { properties.imageInfo().setValueRange(range); });
}

void ImageView::read(VectorXu64 const & index, void * destination) {
  requireIndex(*this, ImageCapability::READ, index);
  readRegion(RegionXu64(index, VectorXu64::createUniform(index.size(), 1)), destination);
}

void ImageView::readRegion(RegionXu64 const &, void *) { throwMissing(*this, ImageCapability::READ); }

void ImageView::setProperties(std::shared_ptr<ImageProperties const>) { throwMissing(*this, ImageCapability::WRITE); }
void ImageView::setMetadata(std::shared_ptr<MetadataNode const>) { throwMissing(*this, ImageCapability::WRITE); }

void ImageView::write(VectorXu64 const & index, void const * source) {
  requireIndex(*this, ImageCapability::WRITE, index);
  writeRegion(RegionXu64(index, VectorXu64::createUniform(index.size(), 1)), source);
}

void ImageView::writeRegion(RegionXu64 const &, void const *) { throwMissing(*this, ImageCapability::WRITE); }

void ImageView::reshape(VectorXu64 const &, DataType) { throwMissing(*this, ImageCapability::RESHAPE); }

Indexer const & ImageView::indexer() const { throwMissing(*this, ImageCapability::MEMORY_ACCESS); }
void * ImageView::buffer() { throwMissing(*this, ImageCapability::MEMORY_ACCESS); }
void const * ImageView::buffer() const { throwMissing(*this, ImageCapability::MEMORY_ACCESS); }
size_t ImageView::bufferSize() const { throwMissing(*this, ImageCapability::MEMORY_ACCESS); }

std::shared_ptr<TilingInfoExtension> ImageView::tilingInfo() const {
  return TilingInfoExtension::cast(extension(TilingInfoExtension::EXTENSION_ID));
}

std::shared_ptr<ParallelAccessExtension> ImageView::parallelAccess() const {
  return ParallelAccessExtension::cast(extension(ParallelAccessExtension::EXTENSION_ID));
}

} // namespace zarnik
