#include "views/MemoryImageView.h"

#include "core/Guarded.h"
#include "views/ImageViewProperties.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

Indexer geometryOf(VectorXu64 const & shape, DataType dataType) {
  return Indexer(imageShape(shape), requireNumeric(dataType));
}

} // namespace

void MemoryImageView::FreeMemory::operator()(std::byte * memory) const noexcept { detail::freeZeroed(memory); }

MemoryImageView::Samples::Samples(Indexer const & geometry) : indexer(geometry) {
  auto const what =
      fmt::format("an image of shape {} and type {}", indexer.shape().toString(), indexer.dtype().toString());
  memory.reset(static_cast<std::byte *>(
      detail::allocateZeroed(indexer.elementCount(), indexer.dtype().byteCount(), what.c_str())));
}

MemoryImageView::MemoryImageView(VectorXu64 const & shape, DataType dataType,
                                 std::shared_ptr<ImageProperties const> const & properties,
                                 std::shared_ptr<MetadataNode const> const & metadata)
    : StoredImageView(imageShape(shape), requireNumeric(dataType), properties, metadata),
      geometries_(geometryOf(shape, dataType)), samples_(std::make_shared<Samples>(geometries_.now())),
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

VectorXu64 const & MemoryImageView::shape() const { return geometries_.now().shape(); }
DataType MemoryImageView::dataType() const { return geometries_.now().dtype(); }

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

void MemoryImageView::reshape(VectorXu64 const & shape, DataType dataType) {
  guarded([&] {
    std::lock_guard const alone(reshaping_);
    auto const & geometry = geometries_.keep(geometryOf(shape, dataType));
    auto changed = std::make_shared<Samples>(geometry);
    auto properties = propertiesFor(shape, dataType);
    // Declared before the lock, so that they go after it.
    std::shared_ptr<Samples> before;
    std::lock_guard const lock(mutex_);
    if (samples_->isHandedOut)
      retired_.push_back(samples_);
    before = std::exchange(samples_, std::move(changed));
    geometries_.change(geometry);
    replaceProperties(std::move(properties));
  });
}

Indexer const & MemoryImageView::indexer() const { return geometries_.now(); }

std::byte * MemoryImageView::handOut() const {
  std::lock_guard const lock(mutex_);
  samples_->isHandedOut = true;
  return samples_->memory.get();
}

void * MemoryImageView::buffer() { return handOut(); }
void const * MemoryImageView::buffer() const { return handOut(); }
size_t MemoryImageView::bufferSize() const { return samples()->indexer.byteCount(); }

} // namespace zarnik
