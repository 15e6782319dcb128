#include "views/RestrictedImageView.h"

#include "core/ReleaseQueue.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/TypedTransfer.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

class RestrictedTiling : public TilingInfoExtension {
public:
  RestrictedTiling(std::shared_ptr<TilingInfoExtension> tiling, ImageCapability allowed)
      : tiling_(std::move(tiling)), allowed_(allowed) {}

  VectorXu64 maxTileSize() const override { return tiling_->maxTileSize(); }
  size_t tileCount() const override { return tiling_->tileCount(); }
  RegionXu64 tileRegion(size_t tileIndex) const override { return tiling_->tileRegion(tileIndex); }
  ArrayX<uint64_t> tilingGrid() const override { return tiling_->tilingGrid(); }

  void readTile(size_t tileIndex, void * destination) override {
    if (allowed_ != ImageCapability::READ)
      throw NotImplemented("the tiles do not support READ: the image is write-only");
    tiling_->readTile(tileIndex, destination);
  }

  void writeTile(size_t tileIndex, void const * source) override {
    if (allowed_ != ImageCapability::WRITE)
      throw NotImplemented("the tiles do not support WRITE: the image is read-only");
    tiling_->writeTile(tileIndex, source);
  }

private:
  std::shared_ptr<TilingInfoExtension> tiling_;
  ImageCapability allowed_;
};

ParallelAccessCapabilitySet parallelFlagsOf(ImageCapability allowed) {
  using enum ParallelAccessCapability;
  return THREAD_SAFE |
         (allowed == ImageCapability::READ ? PARALLEL_TILE_READ | PARALLEL_READ : PARALLEL_TILE_WRITE | PARALLEL_WRITE);
}

} // namespace

RestrictedImageView::RestrictedImageView(std::shared_ptr<ImageView> image, ImageCapability allowed, char const * name)
    : image_(std::move(image)), allowed_(allowed) {
  auto const source = image_->viewOrigin();
  auto displayName = fmt::format("{} view of {}", name, source ? source->displayName() : "an image");
  origin_ = ViewOriginExtension::derive(std::move(displayName), {image_});
}

RestrictedImageView::~RestrictedImageView() { release(std::move(image_)); }

std::shared_ptr<Extension> RestrictedImageView::extension(size_t id) const {
  switch (id) {
  case ViewOriginExtension::EXTENSION_ID:
    return origin_;
  case ParallelAccessExtension::EXTENSION_ID: {
    auto const parallel = image_->parallelAccess();
    return parallel ? ParallelAccessExtension::create(parallel->capabilities() & parallelFlagsOf(allowed_)) : nullptr;
  }
  case TilingInfoExtension::EXTENSION_ID: {
    auto tiling = image_->tilingInfo();
    return tiling ? std::make_shared<RestrictedTiling>(std::move(tiling), allowed_) : nullptr;
  }
  // An extension that is not known here might be a way around the restriction.
  default:
    return nullptr;
  }
}

ImageCapabilitySet RestrictedImageView::capabilities() const { return image_->capabilities() & allowed_; }
VectorXu64 const & RestrictedImageView::shape() const { return image_->shape(); }
DataType RestrictedImageView::dataType() const { return image_->dataType(); }
std::shared_ptr<ImageProperties const> RestrictedImageView::properties() const { return image_->properties(); }
std::shared_ptr<MetadataNode const> RestrictedImageView::metadata() const { return image_->metadata(); }

SharedSamples RestrictedImageView::shareSamples() const {
  auto const * const sharing = dynamic_cast<SampleSharing const *>(image_.get());
  return sharing ? sharing->shareSamples() : SharedSamples();
}

void RestrictedImageView::readStrided(SampleRegion const & region, ValueConversion const & conversion,
                                      void * destination, SampleStrides const & strides) {
  if (allowed_ != ImageCapability::READ)
    return ImageView::readRegion(RegionXu64(region.origin, region.size), destination);
  readSamples(*image_, region, conversion, destination, strides);
}

void RestrictedImageView::writeStrided(SampleRegion const & region, ValueConversion const & conversion,
                                       void const * source, SampleStrides const & strides) {
  if (allowed_ != ImageCapability::WRITE)
    return ImageView::writeRegion(RegionXu64(region.origin, region.size), source);
  writeSamples(*image_, region, conversion, source, strides);
}

bool RestrictedImageView::mayTouchSources(void const * begin, void const * end) const {
  return mayTouch(*image_, begin, end);
}

bool RestrictedImageView::readsToWriteComponents() const { return zarnik::readsToWriteComponents(*image_); }

ReadOnlyImageView::ReadOnlyImageView(std::shared_ptr<ImageView> image)
    : RestrictedImageView(std::move(image), ImageCapability::READ, "read-only") {}

void ReadOnlyImageView::read(VectorXu64 const & index, void * destination) { image().read(index, destination); }

void ReadOnlyImageView::readRegion(RegionXu64 const & region, void * destination) {
  image().readRegion(region, destination);
}

Indexer const & ReadOnlyImageView::indexer() const { return image().indexer(); }
void const * ReadOnlyImageView::buffer() const { return std::as_const(image()).buffer(); }
size_t ReadOnlyImageView::bufferSize() const { return image().bufferSize(); }

WriteOnlyImageView::WriteOnlyImageView(std::shared_ptr<ImageView> image)
    : RestrictedImageView(std::move(image), ImageCapability::WRITE, "write-only") {}

void WriteOnlyImageView::setProperties(std::shared_ptr<ImageProperties const> properties) {
  image().setProperties(std::move(properties));
}

void WriteOnlyImageView::setMetadata(std::shared_ptr<MetadataNode const> metadata) {
  image().setMetadata(std::move(metadata));
}

void WriteOnlyImageView::write(VectorXu64 const & index, void const * source) { image().write(index, source); }

void WriteOnlyImageView::writeRegion(RegionXu64 const & region, void const * source) {
  image().writeRegion(region, source);
}

} // namespace zarnik
