#include "adapters/RelabelledImageView.h"

#include "core/Guarded.h"
#include "views/FlagNames.h"
#include "views/ImageViewProperties.h"
#include "views/RestrictedImageView.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/TypedTransfer.h"

#include <fmt/format.h>
#include <utility>

namespace zarnik {

using enum ImageCapability;

RelabelledImageView::RelabelledImageView(std::shared_ptr<ImageView> image, Description description)
    : DescribedImageView(std::move(description)), image_(std::move(image)), allowed_(image_->capabilities()) {
  while (true) {
    if (auto const * const restricted = dynamic_cast<RestrictedImageView const *>(image_.get()))
      image_ = std::shared_ptr(restricted->restricted());
    else if (auto const * const relabelled = dynamic_cast<RelabelledImageView const *>(image_.get()))
      image_ = std::shared_ptr(relabelled->relabelled());
    else
      break;
  }
}

RelabelledImageView::~RelabelledImageView() = default;

std::shared_ptr<Extension> RelabelledImageView::extension(size_t id) const {
  return guarded([&]() -> std::shared_ptr<Extension> {
    using enum ParallelAccessCapability;
    // Tiles are written as well as read: not through a view that may do less than the image.
    if (id == TilingInfoExtension::EXTENSION_ID && allowed_.has(image_->capabilities()))
      return image_->extension(id);
    if (id != ParallelAccessExtension::EXTENSION_ID)
      return DescribedImageView::extension(id);
    auto const parallel = image_->parallelAccess();
    auto flags = parallel ? parallel->capabilities() : ParallelAccessCapabilitySet();
    if (!support(READ))
      flags.remove(PARALLEL_READ | PARALLEL_TILE_READ);
    if (!support(WRITE))
      flags.remove(PARALLEL_WRITE | PARALLEL_TILE_WRITE);
    return ParallelAccessExtension::create(flags);
  });
}

ImageCapabilitySet RelabelledImageView::capabilities() const { return image_->capabilities() & allowed_; }
VectorXu64 const & RelabelledImageView::shape() const { return image_->shape(); }
DataType RelabelledImageView::dataType() const { return image_->dataType(); }

void RelabelledImageView::require(ImageCapability capability) const {
  if (!support(capability))
    throw NotImplemented(fmt::format("the image does not support {} (its capabilities: {})", flagNames(capability),
                                     flagNames(capabilities())));
}

void RelabelledImageView::read(VectorXu64 const & index, void * destination) {
  require(READ);
  image_->read(index, destination);
}

void RelabelledImageView::readRegion(RegionXu64 const & region, void * destination) {
  require(READ);
  image_->readRegion(region, destination);
}

void RelabelledImageView::write(VectorXu64 const & index, void const * source) {
  require(WRITE);
  image_->write(index, source);
}

void RelabelledImageView::writeRegion(RegionXu64 const & region, void const * source) {
  require(WRITE);
  image_->writeRegion(region, source);
}

void RelabelledImageView::reshape(VectorXu64 const & shape, DataType dataType) {
  guarded([&] {
    require(RESHAPE);
    auto const before = properties();
    image_->reshape(shape, dataType);
    if (before->isCompatibleWith(shape, dataType))
      return;
    auto changed = defaultProperties(shape, dataType);
    changed->setCalibration(before->calibration());
    setProperties(std::move(changed));
  });
}

Indexer const & RelabelledImageView::indexer() const {
  if (!support(READ))
    require(MEMORY_ACCESS);
  return image_->indexer();
}

void * RelabelledImageView::buffer() {
  require(MEMORY_ACCESS);
  return image_->buffer();
}

void const * RelabelledImageView::buffer() const {
  if (!support(READ))
    require(MEMORY_ACCESS);
  return std::as_const(*image_).buffer();
}

size_t RelabelledImageView::bufferSize() const {
  if (!support(READ))
    require(MEMORY_ACCESS);
  return image_->bufferSize();
}

void RelabelledImageView::readStrided(SampleRegion const & region, ValueConversion const & conversion,
                                      void * destination, SampleStrides const & strides) {
  require(READ);
  readSamples(*image_, region, conversion, destination, strides);
}

void RelabelledImageView::writeStrided(SampleRegion const & region, ValueConversion const & conversion,
                                       void const * source, SampleStrides const & strides) {
  require(WRITE);
  writeSamples(*image_, region, conversion, source, strides);
}

bool RelabelledImageView::mayTouchSources(void const * begin, void const * end) const {
  return mayTouch(*image_, begin, end);
}

bool RelabelledImageView::readsToWriteComponents() const { return zarnik::readsToWriteComponents(*image_); }

SharedSamples RelabelledImageView::shareSamples() const {
  auto const * const sharing = dynamic_cast<SampleSharing const *>(image_.get());
  return sharing == nullptr ? SharedSamples() : sharing->shareSamples();
}

} // namespace zarnik
