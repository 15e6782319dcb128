#include "core/Guarded.h"
#include "core/ProgressReport.h"
#include "platform/PieceReader.h"
#include "platform/TemporaryFile.h"
#include "views/BlockWalk.h"
#include "views/RandomAccessImageView.h"
#include "views/RegionTransfer.h"
#include "zarnik/access/DataStorage.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/TypedTransfer.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

constexpr uint64_t CHUNK_BYTES = uint64_t{1} << 20;
// Told often enough to be cancelled at once, in parts that are worth a call.
constexpr uint64_t MEMORY_CHUNK_BYTES = uint64_t{1} << 24;
// Tiles that are read a part at a time are decoded anew for each part.
constexpr uint64_t TILED_CHUNK_BYTES = uint64_t{1} << 25;

/// The bytes of a temporary file.
class TemporaryFileAccess : public RandomAccess {
public:
  TemporaryFileAccess(std::string const & folder, uint64_t size) : file_(folder, size), pieces_(file_.descriptor()) {}

  RandomAccessCapabilitySet capabilities() const override {
    using enum RandomAccessCapability;
    return READ | WRITE | RESIZE;
  }
  size_t size() const override { return file_.size(); }
  std::string resourceId() const override { return file_.path().string(); }
  std::string toString() const override { return fmt::format("temporary file '{}'", file_.path().string()); }
  size_t read(size_t offset, void * destination, size_t size) override { return file_.read(offset, destination, size); }
  void readMany(std::span<ReadRequest const> requests) override {
    pieces_.read(requests, [this](std::span<ReadRequest const> others) { RandomAccess::readMany(others); });
  }
  size_t write(size_t offset, void const * source, size_t size) override {
    file_.write(offset, source, size);
    return size;
  }
  void resize(size_t newSize) override { file_.resize(newSize); }

private:
  TemporaryFile file_;
  platform::PieceReader pieces_;
};

template <typename T> T required(T pointer, char const * what) {
  if (!pointer)
    throw InvalidArgument(fmt::format("the {} cannot be null", what));
  return pointer;
}

void requireReadable(ImageView const & image) {
  if (!image.support(ImageCapability::READ))
    throw NotImplemented("an image that does not support READ cannot be copied");
  toldProperties(image)->requireCompatibleWith(image.shape(), image.dataType());
}

/// Calls visit(region) for parts of an image that are read one after the other: some that follow each other in a dense
/// copy, the first dimension fastest, or of a tiled image whole tiles, at least one.
/// \param copy what the parts are copied to, which nobody else can reshape
template <typename Visit>
void forEachChunk(ImageView const & image, ImageView const & copy, uint64_t chunkBytes, Visit const & visit) {
  auto const & shape = copy.shape();
  auto const tiling = image.tilingInfo();
  auto extents = tiling ? tiling->maxTileSize() : VectorXu64::createUniform(shape.size(), 1);
  auto bytes = copy.dataType().byteCount();
  for (auto & extent : extents) {
    extent = std::max<uint64_t>(extent, 1);
    bytes = checkedMultiply(bytes, extent, "bytes of a tile");
  }
  auto room = std::max<uint64_t>((tiling ? TILED_CHUNK_BYTES : chunkBytes) / bytes, 1);
  for (size_t axis = 0; axis < shape.size(); ++axis) {
    auto const tiles = std::max<uint64_t>((shape[axis] + extents[axis] - 1) / extents[axis], 1);
    auto const taken = std::min(tiles, room);
    extents[axis] = std::max<uint64_t>(std::min(taken * extents[axis], shape[axis]), 1);
    if (taken < tiles)
      break;
    room /= taken;
  }
  forEachBlock(shape, extents, VectorXu64(shape.size()),
               [&](VectorXu64 const & first, VectorXu64 const & size) { visit(RegionXu64(first, size)); });
}

uint64_t byteCountOf(ImageView const & image) { return Indexer(image.shape(), image.dataType()).byteCount(); }

/// Where the bytes of an accessor are, as far as it tells.
ViewDataOrigin originOf(RandomAccess const & access) {
  auto const storage = access.storage();
  auto const isRemote = [](std::string const & name) {
    return name.starts_with("http:") || name.starts_with("https:");
  };
  if (isRemote(access.resourceId()) || (storage && isRemote(storage->source())))
    return ViewDataOrigin::NETWORK;
  return storage ? ViewDataOrigin::DRIVE : ViewDataOrigin::CPU_MEMORY;
}

std::shared_ptr<ImageView> onDisk(std::string const & folder, VectorXu64 const & shape, DataType dataType,
                                  std::shared_ptr<ImageProperties const> const & properties,
                                  std::shared_ptr<MetadataNode const> const & metadata) {
  using enum ImageCapability;
  if (properties)
    properties->requireCompatibleWith(shape, dataType);
  Indexer indexer(shape, requireNumeric(dataType));
  auto access = std::make_shared<TemporaryFileAccess>(folder, indexer.byteCount());
  auto name = access->toString();
  return std::make_shared<RandomAccessImageView>(
      std::move(access), std::move(indexer),
      RandomAccessImageView::Kind{READ | WRITE | RESHAPE, ViewDataOrigin::DRIVE, std::move(name)}, properties,
      metadata);
}

} // namespace

std::shared_ptr<ImageView> ImageViewFactory::copyInMemory(std::shared_ptr<ImageView> image) {
  return guarded([&]() -> std::shared_ptr<ImageView> { return copyInMemory(std::move(image), Progress()); });
}

std::shared_ptr<ImageView> ImageViewFactory::copyInMemory(std::shared_ptr<ImageView> image, Progress const & progress) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    requireReadable(*required(image, "image to copy"));
    if (image->support(ImageCapability::MEMORY_ACCESS))
      return image;
    auto const metadata = image->metadata();
    auto copy = allocate(image->shape(), image->dataType(), toldProperties(*image)->clone(),
                         metadata ? metadata->clone() : nullptr);
    auto const total = copy->bufferSize();
    ProgressReport report("copying an image into memory", total, progress);
    Indexer const indexer(copy->shape(), copy->dataType());
    ComponentFormat const components(copy->dataType());
    auto * const memory = static_cast<std::byte *>(copy->buffer());
    forEachChunk(*image, *copy, progress ? MEMORY_CHUNK_BYTES : std::max<uint64_t>(total, 1),
                 [&](RegionXu64 const & region) {
                   readSamples(*image, SampleRegion::whole(region, copy->dataType()), {},
                               memory + indexer.byteOffset(region.origin()), {indexer.byteStride(), components.bytes});
                   report.advance(region.elementCount() * copy->dataType().byteCount());
                 });
    return copy;
  });
}

std::shared_ptr<ImageView> ImageViewFactory::createOnDisk(std::string const & folder, VectorXu64 const & imageShape,
                                                          DataType dataType,
                                                          std::shared_ptr<ImageProperties> properties,
                                                          std::shared_ptr<MetadataNode> metadata) {
  return guarded(
      [&]() -> std::shared_ptr<ImageView> { return onDisk(folder, imageShape, dataType, properties, metadata); });
}

std::shared_ptr<ImageView> ImageViewFactory::createOnDisk(std::string const & folder, VectorXu64 const & imageShape,
                                                          DataType dataType) {
  return guarded(
      [&]() -> std::shared_ptr<ImageView> { return onDisk(folder, imageShape, dataType, nullptr, nullptr); });
}

std::shared_ptr<ImageView> ImageViewFactory::createOnDisk(VectorXu64 const & imageShape, DataType dataType,
                                                          std::shared_ptr<ImageProperties> properties,
                                                          std::shared_ptr<MetadataNode> metadata) {
  return guarded(
      [&]() -> std::shared_ptr<ImageView> { return onDisk({}, imageShape, dataType, properties, metadata); });
}

std::shared_ptr<ImageView> ImageViewFactory::createOnDisk(VectorXu64 const & imageShape, DataType dataType) {
  return guarded([&]() -> std::shared_ptr<ImageView> { return onDisk({}, imageShape, dataType, nullptr, nullptr); });
}

std::shared_ptr<ImageView> ImageViewFactory::copyOnDisk(std::shared_ptr<ImageView> image) {
  return guarded([&]() -> std::shared_ptr<ImageView> { return copyOnDisk(std::move(image), {}, Progress()); });
}

std::shared_ptr<ImageView> ImageViewFactory::copyOnDisk(std::shared_ptr<ImageView> image, std::string const & folder) {
  return guarded([&]() -> std::shared_ptr<ImageView> { return copyOnDisk(std::move(image), folder, Progress()); });
}

std::shared_ptr<ImageView> ImageViewFactory::copyOnDisk(std::shared_ptr<ImageView> image, std::string const & folder,
                                                        Progress const & progress) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    requireReadable(*required(image, "image to copy"));
    auto copy = onDisk(folder, image->shape(), image->dataType(), toldProperties(*image), image->metadata());
    ProgressReport report("copying an image to disk", byteCountOf(*copy), progress);
    std::unique_ptr<std::byte[]> chunk;
    auto const type = copy->dataType();
    forEachChunk(*image, *copy, CHUNK_BYTES, [&](RegionXu64 const & region) {
      auto const bytes = region.elementCount() * type.byteCount();
      if (!chunk)
        chunk = allocateBlock(bytes); // the first chunk is the largest
      readRegionAs(*image, region, type, chunk.get());
      copy->writeRegion(region, chunk.get());
      report.advance(bytes);
    });
    return copy;
  });
}

std::shared_ptr<ImageView> ImageViewFactory::fromRandomAccess(std::shared_ptr<RandomAccess> access,
                                                              MemoryLayout memoryLayout, VectorXu64 const & imageShape,
                                                              DataType const dataType,
                                                              std::shared_ptr<ImageProperties> properties,
                                                              std::shared_ptr<MetadataNode const> const metadata) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Indexer indexer(imageShape, requireNumeric(dataType), memoryLayout);
    auto const offered = required(access, "random accessor of an image")->capabilities();
    auto const bytes = access->size();
    if (indexer.byteCount() > bytes) {
      throw InvalidArgument(
          fmt::format("an image of shape {} and type {} has {} bytes, which is more than the {} of {}",
                      imageShape.toString(), dataType.toString(), indexer.byteCount(), bytes, access->toString()));
    }
    auto name = fmt::format("samples in {}", access->toString());
    auto const origin = originOf(*access);
    if (offered.has(RandomAccessCapability::MEMORY_ACCESS) && offered.has(RandomAccessCapability::READ)) {
      // Memory that a resize would free is left to the accessor.
      auto const shared = access->sharedBuffer();
      auto * const memory = shared || offered.has(RandomAccessCapability::RESIZE) ? shared.get() : access->buffer();
      if (memory) {
        using enum BorrowedMemoryView::Protection;
        auto const protection = offered.has(RandomAccessCapability::WRITE) ? NONE : READ_ONLY;
        std::shared_ptr<void> owner = shared ? shared : std::move(access);
        return std::make_shared<BorrowedMemoryView>(BorrowedMemoryView::Memory{memory, std::move(indexer),
                                                                               std::move(owner), protection, origin,
                                                                               std::move(name)},
                                                    std::move(properties), metadata);
      }
    }
    ImageCapabilitySet capabilities;
    if (offered.has(RandomAccessCapability::READ))
      capabilities.add(ImageCapability::READ);
    if (offered.has(RandomAccessCapability::WRITE))
      capabilities.add(ImageCapability::WRITE);
    return std::make_shared<RandomAccessImageView>(std::move(access), std::move(indexer),
                                                   RandomAccessImageView::Kind{capabilities, origin, std::move(name)},
                                                   properties, metadata);
  });
}

std::shared_ptr<ImageView> ImageViewFactory::fromRandomAccess(std::shared_ptr<RandomAccess> access,
                                                              MemoryLayout memoryLayout, VectorXu64 const & imageShape,
                                                              DataType const dataType) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    return fromRandomAccess(std::move(access), memoryLayout, imageShape, dataType, nullptr, nullptr);
  });
}

std::shared_ptr<ImageView> ImageViewFactory::fromRandomAccess(std::shared_ptr<RandomAccess> access,
                                                              VectorXu64 const & imageShape, DataType const dataType,
                                                              std::shared_ptr<ImageProperties> properties,
                                                              std::shared_ptr<MetadataNode const> metadata) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    return fromRandomAccess(std::move(access), MemoryLayout::UNKNOWN, imageShape, dataType, std::move(properties),
                            std::move(metadata));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::fromRandomAccess(std::shared_ptr<RandomAccess> access,
                                                              VectorXu64 const & imageShape, DataType const dataType) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    return fromRandomAccess(std::move(access), MemoryLayout::UNKNOWN, imageShape, dataType, nullptr, nullptr);
  });
}

std::shared_ptr<ImageView> ImageViewFactory::uniform(VectorXu64 const & shape, DataType dataType, void const * value,
                                                     std::shared_ptr<ImageProperties> properties,
                                                     std::shared_ptr<MetadataNode const> metadata) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    auto const bytes = requireNumeric(dataType).byteCount();
    std::shared_ptr<std::byte[]> const sample(new std::byte[bytes]);
    std::memcpy(sample.get(), required(value, "value of a uniform image"), bytes);
    return std::make_shared<BorrowedMemoryView>(
        BorrowedMemoryView::Memory{sample.get(), Indexer(shape, dataType, VectorXu64(shape.size())), sample,
                                   BorrowedMemoryView::Protection::READ_ONLY, ViewDataOrigin::GENERATED,
                                   "uniform image"},
        std::move(properties), std::move(metadata));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::fromBuffer(VectorXu64 const & shape, DataType dataType, void * buffer,
                                                        size_t bufferSize, std::shared_ptr<ImageProperties> properties,
                                                        std::shared_ptr<MetadataNode> metadata) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Indexer indexer(shape, requireNumeric(dataType));
    if (indexer.byteCount() > bufferSize) {
      throw InvalidArgument(
          fmt::format("an image of shape {} and type {} has {} bytes, which is more than the {} of the "
                      "buffer",
                      shape.toString(), dataType.toString(), indexer.byteCount(), bufferSize));
    }
    return std::make_shared<BorrowedMemoryView>(
        BorrowedMemoryView::Memory{buffer, std::move(indexer), nullptr, BorrowedMemoryView::Protection::NONE,
                                   ViewDataOrigin::CPU_MEMORY, "buffer of a caller"},
        std::move(properties), std::move(metadata));
  });
}

} // namespace zarnik
