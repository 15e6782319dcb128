#include "views/MemoryImageView.h"

#include "views/ImageViewProperties.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <cstring>
#include <fmt/format.h>

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

MemoryImageView::Samples::Samples(VectorXu64 const & shape, DataType dataType) : indexer(shape, numeric(dataType)) {
  memory.reset(static_cast<std::byte *>(
      detail::allocateZeroed(indexer.elementCount(), dataType.byteCount(), describe(shape, dataType).c_str())));
}

MemoryImageView::MemoryImageView(VectorXu64 const & shape, DataType dataType,
                                 std::shared_ptr<ImageProperties const> properties,
                                 std::shared_ptr<MetadataNode const> metadata)
    : samples_(shape, dataType),
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
  case ParallelAccessExtension::EXTENSION_ID:
    return ParallelAccessExtension::create(PARALLEL_READ | PARALLEL_WRITE);
  default:
    return nullptr;
  }
}

ImageCapabilitySet MemoryImageView::capabilities() const {
  using enum ImageCapability;
  return READ | WRITE | RESHAPE | MEMORY_ACCESS;
}

VectorXu64 const & MemoryImageView::shape() const { return samples_.indexer.shape(); }
DataType MemoryImageView::dataType() const { return samples_.indexer.dtype(); }
std::shared_ptr<ImageProperties const> MemoryImageView::properties() const { return properties_; }
std::shared_ptr<MetadataNode const> MemoryImageView::metadata() const { return metadata_; }

void MemoryImageView::read(VectorXu64 const & index, void * destination) {
  std::memmove(destination, samples_.memory.get() + samples_.indexer.byteOffset(index), dataType().byteCount());
}

void MemoryImageView::write(VectorXu64 const & index, void const * source) {
  std::memmove(samples_.memory.get() + samples_.indexer.byteOffset(index), source, dataType().byteCount());
}

void MemoryImageView::readRegion(RegionXu64 const & region, void * destination) {
  readDense(samples_.indexer, samples_.memory.get(), region, destination);
}

void MemoryImageView::writeRegion(RegionXu64 const & region, void const * source) {
  writeDense(samples_.indexer, samples_.memory.get(), region, source);
}

void MemoryImageView::setProperties(std::shared_ptr<ImageProperties const> properties) {
  properties_ = changedProperties(properties, shape(), dataType());
}

void MemoryImageView::setMetadata(std::shared_ptr<MetadataNode const> metadata) {
  metadata_ = metadata ? metadata->clone() : nullptr;
}

void MemoryImageView::reshape(VectorXu64 const & shape, DataType dataType) {
  Samples samples(shape, dataType);
  auto properties = properties_;
  if (!properties->isCompatibleWith(shape, dataType)) {
    auto changed = defaultProperties(shape, dataType);
    changed->setCalibration(properties_->calibration());
    properties = std::move(changed);
  }
  bool const keepMemory = handedOut_;
  if (keepMemory)
    retired_.reserve(retired_.size() + 1);

  // Nothing below this line fails.
  std::swap(samples_, samples);
  properties_ = std::move(properties);
  if (keepMemory)
    retired_.push_back(std::move(samples.memory));
  handedOut_ = false;
}

Indexer const & MemoryImageView::indexer() const { return samples_.indexer; }

void * MemoryImageView::buffer() {
  handedOut_ = true;
  return samples_.memory.get();
}

void const * MemoryImageView::buffer() const {
  handedOut_ = true;
  return samples_.memory.get();
}

size_t MemoryImageView::bufferSize() const { return samples_.indexer.byteCount(); }

void MemoryImageView::readStrided(SampleRegion const & region, ValueConversion const & conversion, void * destination,
                                  SampleStrides const & strides) {
  readMemory(samples_.indexer, samples_.memory.get(), region, conversion, destination, strides);
}

void MemoryImageView::writeStrided(SampleRegion const & region, ValueConversion const & conversion, void const * source,
                                   SampleStrides const & strides) {
  writeMemory(samples_.indexer, samples_.memory.get(), region, conversion, source, strides);
}

} // namespace zarnik
