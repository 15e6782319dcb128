#include "zarnik/views/BorrowedMemoryView.h"

#include "core/Guarded.h"
#include "core/ReleaseQueue.h"
#include "views/ImageViewProperties.h"
#include "zarnik/core/Error.h"
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

std::byte * elementAt(Indexer const & indexer, void * first, VectorXu64 const & index) {
  return static_cast<std::byte *>(first) + static_cast<int64_t>(indexer.byteOffset(index));
}

} // namespace

BorrowedMemoryView::BorrowedMemoryView(Memory memory, std::shared_ptr<ImageProperties const> properties,
                                       std::shared_ptr<MetadataNode const> metadata)
    : memory_(std::move(memory)), metadata_(metadata ? metadata->clone() : nullptr) {
  auto const & indexer = memory_.indexer;
  properties_ = properties ? fittingProperties(properties, indexer.shape(), indexer.dtype())
                           : defaultProperties(indexer.shape(), indexer.dtype());
  if (memory_.first == nullptr && indexer.elementCount() > 0)
    throw InvalidArgument(fmt::format("no memory was given for the {} samples of an image of shape {}",
                                      indexer.elementCount(), indexer.shape().toString()));
  origin_ = ViewOriginExtension::create(memory_.dataOrigin, std::move(memory_.name));
}

BorrowedMemoryView::~BorrowedMemoryView() { release(std::move(memory_.owner)); }

std::shared_ptr<Extension> BorrowedMemoryView::extension(size_t id) const {
  return guarded([&]() -> std::shared_ptr<Extension> {
    using enum ParallelAccessCapability;
    if (id == ViewOriginExtension::EXTENSION_ID)
      return origin_;
    if (id != ParallelAccessExtension::EXTENSION_ID)
      return nullptr;
    auto parallel = ParallelAccessCapabilitySet(PARALLEL_READ);
    if (memory_.protection != Protection::READ_ONLY)
      parallel |= PARALLEL_WRITE;
    return ParallelAccessExtension::create(parallel);
  });
}

ImageCapabilitySet BorrowedMemoryView::capabilities() const {
  using enum ImageCapability;
  return memory_.protection == Protection::READ_ONLY ? ImageCapabilitySet(READ) : READ | WRITE | MEMORY_ACCESS;
}

VectorXu64 const & BorrowedMemoryView::shape() const { return memory_.indexer.shape(); }
DataType BorrowedMemoryView::dataType() const { return memory_.indexer.dtype(); }

std::shared_ptr<ImageProperties const> BorrowedMemoryView::properties() const {
  std::lock_guard const lock(describing_);
  return properties_;
}

std::shared_ptr<MetadataNode const> BorrowedMemoryView::metadata() const {
  std::lock_guard const lock(describing_);
  return metadata_;
}

void BorrowedMemoryView::requireWritable() const {
  if (memory_.protection != Protection::NONE)
    throw Error("the memory of the image is read-only");
}

void BorrowedMemoryView::read(VectorXu64 const & index, void * destination) {
  std::memmove(destination, elementAt(memory_.indexer, memory_.first, index), dataType().byteCount());
}

void BorrowedMemoryView::readRegion(RegionXu64 const & region, void * destination) {
  guarded([&] { readDense(memory_.indexer, memory_.first, region, destination); });
}

void BorrowedMemoryView::setProperties(std::shared_ptr<ImageProperties const> properties) {
  guarded([&] {
    if (memory_.protection == Protection::READ_ONLY)
      return ImageView::setProperties(std::move(properties));
    auto changed = changedProperties(properties, shape(), dataType());
    std::lock_guard const lock(describing_);
    properties_ = std::move(changed);
  });
}

void BorrowedMemoryView::setMetadata(std::shared_ptr<MetadataNode const> metadata) {
  guarded([&] {
    if (memory_.protection == Protection::READ_ONLY)
      return ImageView::setMetadata(std::move(metadata));
    auto changed = metadata ? metadata->clone() : nullptr;
    std::lock_guard const lock(describing_);
    metadata_ = std::move(changed);
  });
}

void BorrowedMemoryView::write(VectorXu64 const & index, void const * source) {
  if (memory_.protection == Protection::READ_ONLY)
    return ImageView::write(index, source);
  auto * const element = elementAt(memory_.indexer, memory_.first, index);
  requireWritable();
  std::memmove(element, source, dataType().byteCount());
}

void BorrowedMemoryView::writeRegion(RegionXu64 const & region, void const * source) {
  guarded([&] {
    if (memory_.protection == Protection::READ_ONLY)
      return ImageView::writeRegion(region, source);
    requireWritable();
    writeDense(memory_.indexer, memory_.first, region, source);
  });
}

Indexer const & BorrowedMemoryView::indexer() const { return memory_.indexer; }

void * BorrowedMemoryView::buffer() {
  return memory_.protection == Protection::READ_ONLY ? ImageView::buffer() : memory_.first;
}

void const * BorrowedMemoryView::buffer() const { return memory_.first; }

size_t BorrowedMemoryView::bufferSize() const {
  return checkedMultiply(memory_.indexer.elementCount(), dataType().byteCount(), "bytes of an image");
}

} // namespace zarnik
