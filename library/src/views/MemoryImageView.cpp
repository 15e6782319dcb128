#include "views/MemoryImageView.h"

#include "core/Guarded.h"
#include "views/ImageViewProperties.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

std::string describe(VectorXu64 const & shape, DataType dataType) {
  return fmt::format("an image of shape {} and type {}", shape.toString(), dataType.toString());
}

DataType numeric(DataType dataType) {
  if (!dataType.isNumeric() || dataType.bitCount() == 0)
    throw InvalidArgument(fmt::format("samples of type {} are not numeric", dataType.toString()));
  return dataType;
}

} // namespace

void MemoryImageView::FreeMemory::operator()(std::byte * memory) const noexcept { detail::freeZeroed(memory); }

MemoryImageView::Samples::Samples(VectorXu64 const & shape, DataType dataType)
    : indexer(imageShape(shape), numeric(dataType)) {
  memory.reset(static_cast<std::byte *>(
      detail::allocateZeroed(indexer.elementCount(), dataType.byteCount(), describe(shape, dataType).c_str())));
}

MemoryImageView::MemoryImageView(VectorXu64 const & shape, DataType dataType,
                                 std::shared_ptr<ImageProperties const> properties,
                                 std::shared_ptr<MetadataNode const> metadata)
    : samples_(std::make_shared<Samples>(shape, dataType)), dataType_(dataType),
      properties_(properties ? fittingProperties(properties, shape, dataType) : defaultProperties(shape, dataType)),
      metadata_(metadata ? metadata->clone() : nullptr),
      origin_(ViewOriginExtension::create(ViewDataOrigin::CPU_MEMORY, "image in memory")) {}

MemoryImageView::~MemoryImageView() = default;

std::shared_ptr<Extension> MemoryImageView::extension(size_t id) const {
  using enum ParallelAccessCapability;
  switch (id) {
  case ViewOriginExtension::EXTENSION_ID:
    return origin_;
  // Properties and metadata are not protected, so the image as a whole is not THREAD_SAFE.
  case ParallelAccessExtension::EXTENSION_ID: {
    static auto const parallel = ParallelAccessExtension::create(PARALLEL_READ | PARALLEL_WRITE);
    return parallel;
  }
  default:
    return nullptr;
  }
}

ImageCapabilitySet MemoryImageView::capabilities() const {
  using enum ImageCapability;
  return READ | WRITE | RESHAPE | MEMORY_ACCESS;
}

std::shared_ptr<MemoryImageView::Samples> MemoryImageView::samples() const {
  std::lock_guard const lock(mutex_);
  return samples_;
}

VectorXu64 const & MemoryImageView::shape() const { return samples_->indexer.shape(); }
DataType MemoryImageView::dataType() const { return dataType_; }
std::shared_ptr<ImageProperties const> MemoryImageView::properties() const { return properties_; }
std::shared_ptr<MetadataNode const> MemoryImageView::metadata() const { return metadata_; }

void MemoryImageView::read(VectorXu64 const & index, void * destination) {
  auto const now = samples();
  std::memmove(destination, now->memory.get() + now->indexer.byteOffset(index), now->indexer.dtype().byteCount());
}

void MemoryImageView::write(VectorXu64 const & index, void const * source) {
  auto const now = samples();
  std::memmove(now->memory.get() + now->indexer.byteOffset(index), source, now->indexer.dtype().byteCount());
}

void MemoryImageView::readRegion(RegionXu64 const & region, void * destination) {
  auto const now = samples();
  readDense(now->indexer, now->memory.get(), region, destination);
}

void MemoryImageView::writeRegion(RegionXu64 const & region, void const * source) {
  auto const now = samples();
  writeDense(now->indexer, now->memory.get(), region, source);
}

SharedSamples MemoryImageView::shareSamples() const {
  auto now = samples();
  auto * const memory = now->memory.get();
  return {now->indexer, memory, std::move(now)};
}

void MemoryImageView::setProperties(std::shared_ptr<ImageProperties const> properties) {
  properties_ = changedProperties(properties, shape(), dataType());
}

void MemoryImageView::setMetadata(std::shared_ptr<MetadataNode const> metadata) {
  metadata_ = metadata ? metadata->clone() : nullptr;
}

void MemoryImageView::reshape(VectorXu64 const & shape, DataType dataType) {
  guarded([&] {
    auto changed = std::make_shared<Samples>(shape, dataType);
    auto properties = properties_;
    if (!properties->isCompatibleWith(shape, dataType)) {
      auto fitting = defaultProperties(shape, dataType);
      fitting->setCalibration(properties_->calibration());
      properties = std::move(fitting);
    }
    // Declared before the lock, so that they go after it.
    std::shared_ptr<Samples> before;
    std::lock_guard const lock(mutex_);
    if (samples_->isHandedOut)
      retired_.push_back(samples_);
    before = std::exchange(samples_, std::move(changed));
    dataType_ = dataType;
    properties_ = std::move(properties);
  });
}

Indexer const & MemoryImageView::indexer() const { return samples_->indexer; }

std::byte * MemoryImageView::handOut() const {
  std::lock_guard const lock(mutex_);
  samples_->isHandedOut = true;
  return samples_->memory.get();
}

void * MemoryImageView::buffer() { return handOut(); }
void const * MemoryImageView::buffer() const { return handOut(); }
size_t MemoryImageView::bufferSize() const { return samples()->indexer.byteCount(); }

} // namespace zarnik
