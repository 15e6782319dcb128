#pragma once

#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/GridTiling.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

namespace zarnik::test {

/// A view of somebody else: it has the dense slots only, and counts what goes through them. With a tile size it also
/// has tiles.
class ForeignImage : public ImageView {
public:
  ForeignImage(std::shared_ptr<ImageView> image, ImageCapabilitySet capabilities, uint64_t tileSize = 0)
      : image_(std::move(image)), capabilities_(capabilities), tileSize_(tileSize) {}
  ForeignImage(VectorXu64 const & shape, DataType type, ImageCapabilitySet capabilities, uint64_t tileSize = 0)
      : ForeignImage(ImageViewFactory::allocate(shape, type), capabilities, tileSize) {}

  ImageCapabilitySet capabilities() const override { return capabilities_; }
  VectorXu64 const & shape() const override { return image_->shape(); }
  DataType dataType() const override { return image_->dataType(); }
  std::shared_ptr<ImageProperties const> properties() const override { return image_->properties(); }
  std::shared_ptr<MetadataNode const> metadata() const override { return image_->metadata(); }
  std::shared_ptr<Extension> extension(size_t id) const override {
    if (id == TilingInfoExtension::EXTENSION_ID && tileSize_ != 0)
      return std::make_shared<GridTiling>(image_, VectorXu64::createUniform(dimensionCount(), tileSize_));
    return id == ViewOriginExtension::EXTENSION_ID ? image_->extension(id) : nullptr;
  }
  void setProperties(std::shared_ptr<ImageProperties const> properties) override {
    support(ImageCapability::WRITE) ? image_->setProperties(properties) : ImageView::setProperties(properties);
  }
  void setMetadata(std::shared_ptr<MetadataNode const> metadata) override {
    support(ImageCapability::WRITE) ? image_->setMetadata(metadata) : ImageView::setMetadata(metadata);
  }
  void readRegion(RegionXu64 const & region, void * destination) override {
    if (!support(ImageCapability::READ))
      return ImageView::readRegion(region, destination);
    reads += 1;
    elementsRead += region.elementCount();
    largestRead = std::max(largestRead.load(), region.elementCount());
    image_->readRegion(region, destination);
  }
  void writeRegion(RegionXu64 const & region, void const * source) override {
    if (!support(ImageCapability::WRITE))
      return ImageView::writeRegion(region, source);
    image_->writeRegion(region, source);
  }

  /// Around the slots.
  std::shared_ptr<ImageView> const & samples() const { return image_; }

  std::atomic<uint64_t> reads = 0, elementsRead = 0, largestRead = 0; // regions; elements of all, and of the largest

private:
  std::shared_ptr<ImageView> image_;
  ImageCapabilitySet capabilities_;
  uint64_t tileSize_;
};

} // namespace zarnik::test
