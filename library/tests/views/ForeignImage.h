#pragma once

#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

namespace zarnik::test {

/// A view of somebody else: it has the dense slots only, and counts what goes through them.
class ForeignImage : public ImageView {
public:
  ForeignImage(VectorXu64 const & shape, DataType type, ImageCapabilitySet capabilities)
      : image_(ImageViewFactory::allocate(shape, type)), capabilities_(capabilities) {}

  ImageCapabilitySet capabilities() const override { return capabilities_; }
  VectorXu64 const & shape() const override { return image_->shape(); }
  DataType dataType() const override { return image_->dataType(); }
  std::shared_ptr<ImageProperties const> properties() const override { return image_->properties(); }
  std::shared_ptr<MetadataNode const> metadata() const override { return image_->metadata(); }
  std::shared_ptr<Extension> extension(size_t id) const override {
    return id == ViewOriginExtension::EXTENSION_ID ? image_->extension(id) : nullptr;
  }
  void setProperties(std::shared_ptr<ImageProperties const> properties) override { image_->setProperties(properties); }
  void readRegion(RegionXu64 const & region, void * destination) override {
    elementsRead += region.elementCount();
    largestRead = std::max(largestRead.load(), region.elementCount());
    image_->readRegion(region, destination);
  }
  void writeRegion(RegionXu64 const & region, void const * source) override { image_->writeRegion(region, source); }

  /// Around the slots.
  std::shared_ptr<ImageView> const & samples() const { return image_; }

  std::atomic<uint64_t> elementsRead = 0, largestRead = 0; // of all regions, and of the largest

private:
  std::shared_ptr<ImageView> image_;
  ImageCapabilitySet capabilities_;
};

} // namespace zarnik::test
