#include "views/RandomAccessImageView.h"

#include "core/Guarded.h"
#include "core/Waiting.h"
#include "views/ByteRuns.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>
#include <optional>

namespace zarnik {

RandomAccessImageView::RandomAccessImageView(std::shared_ptr<RandomAccess> access, Indexer indexer, Kind kind,
                                             std::shared_ptr<ImageProperties const> const & properties,
                                             std::shared_ptr<MetadataNode const> const & metadata)
    : StoredImageView(indexer.shape(), requireNumeric(indexer.dtype()), properties, metadata),
      access_(std::move(access)), capabilities_(kind.capabilities),
      origin_(ViewOriginExtension::create(kind.dataOrigin, std::move(kind.name))), geometries_(std::move(indexer)) {
  auto const & geometry = geometries_.now();
  if (auto const size = access_->size(); geometry.byteCount() > size) {
    throw InvalidArgument(fmt::format("an image of shape {} and type {} has {} bytes, which is more than the {} of {}",
                                      geometry.shape().toString(), geometry.dtype().toString(), geometry.byteCount(),
                                      size, access_->toString()));
  }
}

RandomAccessImageView::~RandomAccessImageView() = default;

std::shared_ptr<Extension> RandomAccessImageView::extension(size_t id) const {
  return guarded([&]() -> std::shared_ptr<Extension> {
    using enum ParallelAccessCapability;
    switch (id) {
    case ViewOriginExtension::EXTENSION_ID:
      return origin_;
    case ParallelAccessExtension::EXTENSION_ID: {
      ParallelAccessCapabilitySet flags;
      if (capabilities_.has(ImageCapability::READ))
        flags.add(PARALLEL_READ);
      if (capabilities_.has(ImageCapability::WRITE))
        flags.add(PARALLEL_WRITE);
      return ParallelAccessExtension::create(flags);
    }
    default:
      return nullptr;
    }
  });
}

ImageCapabilitySet RandomAccessImageView::capabilities() const { return capabilities_; }
VectorXu64 const & RandomAccessImageView::shape() const { return geometries_.now().shape(); }
DataType RandomAccessImageView::dataType() const { return geometries_.now().dtype(); }

void RandomAccessImageView::read(VectorXu64 const & index, void * destination) {
  guarded([&] {
    if (!capabilities_.has(ImageCapability::READ))
      return ImageView::read(index, destination);
    auto const & indexer = geometries_.now();
    RandomAccess::ReadRequest const request{indexer.byteOffset(index), destination, indexer.dtype().byteCount()};
    access_->readMany({&request, 1});
  });
}

void RandomAccessImageView::readRegion(RegionXu64 const & region, void * destination) {
  guarded([&] {
    if (!capabilities_.has(ImageCapability::READ))
      return ImageView::readRegion(region, destination);
    auto const & indexer = geometries_.now();
    requireInside(region, indexer.shape());
    auto const samples = SampleRegion::whole(region, indexer.dtype());
    ComponentFormat const components(indexer.dtype());
    if (!samples.isEmpty())
      readRuns(*access_, indexer, samples, {}, destination,
               SampleStrides::dense(region.size(), components.count, components.bytes));
  });
}

void RandomAccessImageView::write(VectorXu64 const & index, void const * source) {
  writeRegion(RegionXu64(index, VectorXu64::createUniform(index.size(), 1)), source);
}

void RandomAccessImageView::writeRegion(RegionXu64 const & region, void const * source) {
  guarded([&] {
    if (!capabilities_.has(ImageCapability::WRITE))
      return ImageView::writeRegion(region, source);
    auto const & indexer = geometries_.now();
    requireInside(region, indexer.shape());
    auto const samples = SampleRegion::whole(region, indexer.dtype());
    ComponentFormat const components(indexer.dtype());
    if (!samples.isEmpty())
      writeRuns(*access_, indexer, samples, {}, source,
                SampleStrides::dense(region.size(), components.count, components.bytes));
  });
}

void RandomAccessImageView::readStrided(SampleRegion const & region, ValueConversion const & conversion,
                                        void * destination, SampleStrides const & strides) {
  if (!capabilities_.has(ImageCapability::READ))
    return ImageView::readRegion(RegionXu64(region.origin, region.size), destination);
  auto const & indexer = geometries_.now();
  requireFits(region, indexer);
  readRuns(*access_, indexer, region, conversion, destination, strides);
}

void RandomAccessImageView::writeStrided(SampleRegion const & region, ValueConversion const & conversion,
                                         void const * source, SampleStrides const & strides) {
  if (!capabilities_.has(ImageCapability::WRITE))
    return ImageView::writeRegion(RegionXu64(region.origin, region.size), source);
  auto const & indexer = geometries_.now();
  requireFits(region, indexer);
  std::optional<Turn<std::mutex>> turn;
  if (readsToWrite(*access_, indexer.dtype(), region))
    turn.emplace(changing_);
  writeRuns(*access_, indexer, region, conversion, source, strides);
}

void RandomAccessImageView::reshape(VectorXu64 const & shape, DataType dataType) {
  guarded([&] {
    if (!capabilities_.has(ImageCapability::RESHAPE))
      return ImageView::reshape(shape, dataType);
    auto indexer = Indexer(shape, requireNumeric(dataType));
    auto properties = propertiesFor(shape, dataType);
    Turn const turn(changing_);
    auto const & geometry = geometries_.keep(std::move(indexer));
    access_->resize(geometry.byteCount());

    // Nothing below this line fails.
    geometries_.change(geometry);
    replaceProperties(std::move(properties));
  });
}

} // namespace zarnik
