#pragma once

#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/GridTiling.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/ImageViewProvider.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <numeric>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace zarnik::test {

inline uint64_t elementCount(VectorXu64 const & shape) {
  return std::accumulate(shape.begin(), shape.end(), uint64_t{1}, std::multiplies<>());
}

/// The index of a position in the dense order, the first dimension fastest.
inline VectorXu64 indexOf(uint64_t position, VectorXu64 const & shape) {
  VectorXu64 index(shape.size());
  for (size_t axis = 0; axis < index.size(); position /= shape[axis], ++axis)
    index[axis] = position % shape[axis];
  return index;
}

inline uint64_t positionOf(VectorXu64 const & index, VectorXu64 const & shape) {
  uint64_t position = 0;
  for (size_t axis = index.size(); axis-- > 0;)
    position = position * shape[axis] + index[axis];
  return position;
}

/// A view of somebody else: it has the dense slots only, and counts what goes through them.
class ForeignImage : public ImageView {
public:
  ForeignImage(VectorXu64 shape, DataType type, ImageCapabilitySet capabilities, uint64_t tileSize = 0)
      : image_(ImageViewFactory::allocate(shape, type)), capabilities_(capabilities), tileSize_(tileSize) {}

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
  void read(VectorXu64 const & index, void * destination) override {
    readRegion({index, VectorXu64::createUniform(index.size(), 1)}, destination);
  }
  void write(VectorXu64 const & index, void const * source) override {
    writeRegion({index, VectorXu64::createUniform(index.size(), 1)}, source);
  }
  void readRegion(RegionXu64 const & region, void * destination) override {
    if (!support(ImageCapability::READ))
      return ImageView::readRegion(region, destination);
    reads += 1;
    elementsRead += region.elementCount();
    image_->readRegion(region, destination);
  }
  void writeRegion(RegionXu64 const & region, void const * source) override {
    if (!support(ImageCapability::WRITE))
      return ImageView::writeRegion(region, source);
    elementsWritten += region.elementCount();
    image_->writeRegion(region, source);
  }

  /// Around the slots.
  std::shared_ptr<ImageView> const & samples() const { return image_; }

  std::atomic<uint64_t> reads = 0, elementsRead = 0, elementsWritten = 0;

private:
  std::shared_ptr<ImageView> image_;
  ImageCapabilitySet capabilities_;
  uint64_t tileSize_;
};

/// A source of an adapter, and its samples without going through a view.
struct Source {
  std::shared_ptr<ImageView> view;
  std::function<uint8_t *(VectorXu64 const & index)> element;
};

struct SourceKind {
  std::string name;
  ImageCapabilitySet capabilities;
  std::function<Source(VectorXu64 const & shape, DataType type)> make;
};

inline std::ostream & operator<<(std::ostream & stream, SourceKind const & kind) { return stream << kind.name; }

inline auto elementsOf(std::shared_ptr<ImageView> const & image) {
  return [image](VectorXu64 const & index) {
    return static_cast<uint8_t *>(image->buffer()) + static_cast<int64_t>(image->indexer().byteOffset(index));
  };
}

/// Memory with gaps that runs backwards along every second dimension, the last one fastest.
inline std::shared_ptr<ImageView> borrowedImage(VectorXu64 const & shape, DataType type,
                                                BorrowedMemoryView::Protection protection) {
  auto const bytes = type.byteCount();
  VectorXu64 strides(shape.size());
  uint64_t stride = bytes, offset = 0;
  for (size_t axis = shape.size(); axis-- > 0;) {
    strides[axis] = axis % 2 ? stride : 0 - stride;
    offset += axis % 2 || shape[axis] == 0 ? 0 : (shape[axis] - 1) * stride;
    stride *= shape[axis] + 1;
  }
  auto const storage = std::make_shared<std::vector<uint8_t>>(stride + bytes, uint8_t{0xEE});
  BorrowedMemoryView::Memory memory{storage->data() + offset, Indexer(shape, type, strides), storage};
  memory.protection = protection;
  return std::make_shared<BorrowedMemoryView>(memory, nullptr, nullptr);
}

inline std::vector<SourceKind> sourceKinds() {
  using enum ImageCapability;
  using Protection = BorrowedMemoryView::Protection;
  auto const memory = [](auto const & shape, DataType type) { return ImageViewFactory::allocate(shape, type); };
  auto const foreign = [](ImageCapabilitySet capabilities, uint64_t tileSize = 0) {
    return [=](VectorXu64 const & shape, DataType type) {
      auto const image = std::make_shared<ForeignImage>(shape, type, capabilities, tileSize);
      return Source{image, elementsOf(image->samples())};
    };
  };
  return {{"Memory", READ | WRITE | MEMORY_ACCESS,
           [=](auto const & shape, DataType type) {
             auto const image = memory(shape, type);
             return Source{image, elementsOf(image)};
           }},
          {"ReadOnly", READ,
           [=](auto const & shape, DataType type) {
             auto const image = memory(shape, type);
             return Source{ImageViewProvider::toReadOnly(image), elementsOf(image)};
           }},
          {"Borrowed", READ | WRITE | MEMORY_ACCESS,
           [](auto const & shape, DataType type) {
             auto const image = borrowedImage(shape, type, Protection::NONE);
             return Source{image, elementsOf(image)};
           }},
          {"BorrowedReadOnly", READ,
           [](auto const & shape, DataType type) {
             auto const image = borrowedImage(shape, type, Protection::READ_ONLY);
             return Source{image, [image](VectorXu64 const & index) {
                             auto const * const first = static_cast<uint8_t const *>(std::as_const(*image).buffer());
                             return const_cast<uint8_t *>(first) +
                                    static_cast<int64_t>(image->indexer().byteOffset(index));
                           }};
           }},
          {"Foreign", READ | WRITE, foreign(READ | WRITE)},
          {"ForeignReadOnly", READ, foreign(READ)},
          {"ForeignTiled", READ | WRITE, foreign(READ | WRITE, 3)}};
}

} // namespace zarnik::test
