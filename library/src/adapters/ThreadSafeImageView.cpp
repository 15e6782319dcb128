#include "adapters/ThreadSafeImageView.h"

#include "core/Waiting.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/TypedTransfer.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

using Lock = Turn<std::recursive_mutex>;

class ThreadSafeTiling : public TilingInfoExtension {
public:
  ThreadSafeTiling(std::shared_ptr<TilingInfoExtension> tiling, std::shared_ptr<std::recursive_mutex> mutex)
      : tiling_(std::move(tiling)), mutex_(std::move(mutex)) {}

  VectorXu64 maxTileSize() const override {
    Lock const lock(*mutex_);
    return tiling_->maxTileSize();
  }
  size_t tileCount() const override {
    Lock const lock(*mutex_);
    return tiling_->tileCount();
  }
  RegionXu64 tileRegion(size_t tileIndex) const override {
    Lock const lock(*mutex_);
    return tiling_->tileRegion(tileIndex);
  }
  ArrayX<uint64_t> tilingGrid() const override {
    Lock const lock(*mutex_);
    return tiling_->tilingGrid();
  }
  void readTile(size_t tileIndex, void * destination) override {
    Lock const lock(*mutex_);
    tiling_->readTile(tileIndex, destination);
  }
  void writeTile(size_t tileIndex, void const * source) override {
    Lock const lock(*mutex_);
    tiling_->writeTile(tileIndex, source);
  }

private:
  std::shared_ptr<TilingInfoExtension> tiling_;
  std::shared_ptr<std::recursive_mutex> mutex_;
};

} // namespace

ThreadSafeImageView::ThreadSafeImageView(std::shared_ptr<ImageView> image)
    : image_(std::move(image)), mutex_(std::make_shared<std::recursive_mutex>()) {
  auto const source = image_->viewOrigin();
  origin_ = ViewOriginExtension::derive(
      fmt::format("{}, made safe for threads", source ? source->displayName() : "image"), {image_});
}

ThreadSafeImageView::~ThreadSafeImageView() = default;

std::shared_ptr<Extension> ThreadSafeImageView::extension(size_t id) const {
  using enum ParallelAccessCapability;
  switch (id) {
  case ViewOriginExtension::EXTENSION_ID:
    return origin_;
  case ParallelAccessExtension::EXTENSION_ID: {
    auto flags = ParallelAccessCapabilitySet(THREAD_SAFE);
    if (support(ImageCapability::READ))
      flags |= PARALLEL_READ | PARALLEL_TILE_READ;
    if (support(ImageCapability::WRITE))
      flags |= PARALLEL_WRITE | PARALLEL_TILE_WRITE;
    return ParallelAccessExtension::create(flags);
  }
  case TilingInfoExtension::EXTENSION_ID: {
    Lock const lock(*mutex_);
    auto tiling = image_->tilingInfo();
    return tiling ? std::make_shared<ThreadSafeTiling>(std::move(tiling), mutex_) : nullptr;
  }
  // What is not known here would be a way around the lock.
  default:
    return nullptr;
  }
}

ImageCapabilitySet ThreadSafeImageView::capabilities() const {
  Lock const lock(*mutex_);
  return image_->capabilities();
}

VectorXu64 const & ThreadSafeImageView::shape() const {
  Lock const lock(*mutex_);
  return image_->shape();
}

DataType ThreadSafeImageView::dataType() const {
  Lock const lock(*mutex_);
  return image_->dataType();
}

std::shared_ptr<ImageProperties const> ThreadSafeImageView::properties() const {
  Lock const lock(*mutex_);
  return image_->properties();
}

std::shared_ptr<MetadataNode const> ThreadSafeImageView::metadata() const {
  Lock const lock(*mutex_);
  return image_->metadata();
}

void ThreadSafeImageView::read(VectorXu64 const & index, void * destination) {
  Lock const lock(*mutex_);
  image_->read(index, destination);
}

void ThreadSafeImageView::readRegion(RegionXu64 const & region, void * destination) {
  Lock const lock(*mutex_);
  image_->readRegion(region, destination);
}

void ThreadSafeImageView::setProperties(std::shared_ptr<ImageProperties const> properties) {
  Lock const lock(*mutex_);
  image_->setProperties(std::move(properties));
}

void ThreadSafeImageView::setMetadata(std::shared_ptr<MetadataNode const> metadata) {
  Lock const lock(*mutex_);
  image_->setMetadata(std::move(metadata));
}

void ThreadSafeImageView::write(VectorXu64 const & index, void const * source) {
  Lock const lock(*mutex_);
  image_->write(index, source);
}

void ThreadSafeImageView::writeRegion(RegionXu64 const & region, void const * source) {
  Lock const lock(*mutex_);
  image_->writeRegion(region, source);
}

void ThreadSafeImageView::reshape(VectorXu64 const & shape, DataType dataType) {
  Lock const lock(*mutex_);
  image_->reshape(shape, dataType);
}

Indexer const & ThreadSafeImageView::indexer() const {
  Lock const lock(*mutex_);
  return image_->indexer();
}

void * ThreadSafeImageView::buffer() {
  Lock const lock(*mutex_);
  return image_->buffer();
}

void const * ThreadSafeImageView::buffer() const {
  Lock const lock(*mutex_);
  return std::as_const(*image_).buffer();
}

size_t ThreadSafeImageView::bufferSize() const {
  Lock const lock(*mutex_);
  return image_->bufferSize();
}

void ThreadSafeImageView::readStrided(SampleRegion const & region, ValueConversion const & conversion,
                                      void * destination, SampleStrides const & strides) {
  Lock const lock(*mutex_);
  readSamples(*image_, region, conversion, destination, strides);
}

bool ThreadSafeImageView::mayTouchSources(void const * begin, void const * end) const {
  return mayTouch(*image_, begin, end);
}

// Reading what shares a sample, where that is needed, happens under the same lock.
void ThreadSafeImageView::writeStrided(SampleRegion const & region, ValueConversion const & conversion,
                                       void const * source, SampleStrides const & strides) {
  Lock const lock(*mutex_);
  writeSamples(*image_, region, conversion, source, strides);
}

} // namespace zarnik
