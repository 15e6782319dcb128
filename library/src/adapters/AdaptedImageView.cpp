#include "adapters/AdaptedImageView.h"

#include "adapters/AdaptedTiling.h"
#include "adapters/RelabelledImageView.h"
#include "core/Guarded.h"
#include "views/RestrictedImageView.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/RegionConverter.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/GridTiling.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/TypedTransfer.h"

#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

using enum ImageCapability;

void requireIndex(VectorXu64 const & index, VectorXu64 const & shape) {
  if (index.size() != shape.size())
    throw InvalidArgument(
        fmt::format("index {} does not fit the {} dimensions of the image", index.toString(), shape.size()));
  for (size_t axis = 0; axis < shape.size(); ++axis)
    if (index[axis] >= shape[axis])
      throw InvalidArgument(fmt::format("index {} is outside of shape {}", index.toString(), shape.toString()));
}

RegionXu64 at(VectorXu64 const & index) { return {index, VectorXu64::createUniform(index.size(), 1)}; }

bool showsMemory(ImageView & image) {
  return image.support(MEMORY_ACCESS) || dynamic_cast<BorrowedMemoryView *>(&image) != nullptr;
}

/// The tiles of the source, for a view of the same geometry.
class SameTiling : public TilingInfoExtension {
public:
  SameTiling(std::shared_ptr<TilingInfoExtension> tiling, std::shared_ptr<ImageView> view)
      : tiling_(std::move(tiling)), view_(std::move(view)) {}

  VectorXu64 maxTileSize() const override { return tiling_->maxTileSize(); }
  size_t tileCount() const override { return tiling_->tileCount(); }
  RegionXu64 tileRegion(size_t tileIndex) const override { return tiling_->tileRegion(tileIndex); }
  ArrayX<uint64_t> tilingGrid() const override { return tiling_->tilingGrid(); }
  void readTile(size_t tileIndex, void * destination) override {
    view_->readRegion(tileRegion(tileIndex), destination);
  }
  void writeTile(size_t tileIndex, void const * source) override { view_->writeRegion(tileRegion(tileIndex), source); }

private:
  std::shared_ptr<TilingInfoExtension> tiling_;
  std::shared_ptr<ImageView> view_;
};

} // namespace

Adaptation Adaptation::of(std::shared_ptr<ImageView> image) {
  auto const shape = image->shape();
  auto const type = image->dataType();
  auto allowed = READ | WRITE | MEMORY_ACCESS;
  while (true) {
    if (auto const * const restricted = dynamic_cast<RestrictedImageView const *>(image.get())) {
      allowed &= restricted->allowed();
      image = restricted->restricted();
    } else if (auto const * const relabelled = dynamic_cast<RelabelledImageView const *>(image.get())) {
      allowed &= relabelled->allowed();
      image = relabelled->relabelled();
    } else {
      break;
    }
  }
  if (auto const * const adapted = dynamic_cast<AdaptedImageView const *>(image.get())) {
    auto adaptation = adapted->adaptation();
    adaptation.allowed &= allowed;
    return adaptation;
  }
  return {image, shape, type, AxisMapping(shape.size()), {}, shape, type, allowed};
}

AdaptedImageView::AdaptedImageView(Adaptation adaptation, Description description)
    : DescribedImageView(std::move(description)), adaptation_(std::move(adaptation)) {
  auto & source = *adaptation_.source;
  if (adaptation_.values.empty() && showsMemory(source))
    isInMemory_ = adaptation_.axes.fitsMemory(source.indexer(), adaptation_.type);
}

AdaptedImageView::~AdaptedImageView() { delete indexer_.load(); }

std::shared_ptr<Extension> AdaptedImageView::extension(size_t id) const {
  return guarded([&]() -> std::shared_ptr<Extension> {
    using enum ParallelAccessCapability;
    if (id == TilingInfoExtension::EXTENSION_ID)
      return tiling();
    if (id != ParallelAccessExtension::EXTENSION_ID)
      return DescribedImageView::extension(id);
    auto const parallel = adaptation_.source->parallelAccess();
    auto flags = parallel ? parallel->capabilities() : ParallelAccessCapabilitySet();
    flags &= THREAD_SAFE | PARALLEL_READ | PARALLEL_WRITE;
    if (!support(READ))
      flags.remove(PARALLEL_READ);
    // Samples that share one of the source are written one after the other.
    if (!support(WRITE) ||
        (readsToWriteComponents() && adaptation_.axes.separatesComponents(adaptation_.sourceType, adaptation_.type)))
      flags.remove(THREAD_SAFE | PARALLEL_WRITE);
    return ParallelAccessExtension::create(flags);
  });
}

std::shared_ptr<Extension> AdaptedImageView::tiling() const {
  auto ofSource = adaptation_.source->tilingInfo();
  bool const isSame = adaptation_.axes.isIdentity() && shape() == adaptation_.sourceShape;
  // Of other tilings nobody knows that they are cut along planes.
  bool const isGrid = dynamic_cast<GridTiling const *>(ofSource.get()) != nullptr;
  if (!ofSource || (!isSame && !isGrid))
    return nullptr;
  // A copy of the view, which costs little: the view itself cannot be shared from here.
  auto copy = std::make_shared<AdaptedImageView>(
      adaptation_, Description{properties(), metadata(), "by tiles", {adaptation_.source}});
  if (isSame)
    return std::make_shared<SameTiling>(std::move(ofSource), std::move(copy));
  return std::make_shared<AdaptedTiling>(std::move(copy), adaptation_.axes, ofSource->maxTileSize());
}

bool AdaptedImageView::isInvertible() const {
  for (auto const & operation : adaptation_.values)
    if (!operation.isInvertible())
      return false;
  return true;
}

bool AdaptedImageView::mayTouchSources(void const * begin, void const * end) const {
  return mayTouch(*adaptation_.source, begin, end);
}

bool AdaptedImageView::readsToWriteComponents() const { return zarnik::readsToWriteComponents(*adaptation_.source); }

ImageCapabilitySet AdaptedImageView::capabilities() const {
  auto const ofSource = adaptation_.source->capabilities();
  auto offered = ofSource & adaptation_.allowed;
  if (!isInMemory_)
    offered.remove(MEMORY_ACCESS);
  bool const needsReading =
      adaptation_.axes.separatesComponents(adaptation_.sourceType, adaptation_.type) && readsToWriteComponents();
  if (!isInvertible() || (needsReading && !ofSource.has(READ)))
    offered.remove(WRITE);
  // Who has the memory can read and write it.
  if (!offered.has(READ | WRITE))
    offered.remove(MEMORY_ACCESS);
  return offered;
}

VectorXu64 const & AdaptedImageView::shape() const { return adaptation_.shape; }
DataType AdaptedImageView::dataType() const { return adaptation_.type; }

void AdaptedImageView::requireUnchangedSource() const {
  requireUnchanged(adaptation_.sourceShape, adaptation_.sourceType, geometryOf(*adaptation_.source));
}

SharedSamples AdaptedImageView::shareSamples() const {
  auto const * const sharing = dynamic_cast<SampleSharing const *>(adaptation_.source.get());
  if (!isInMemory_ || sharing == nullptr || !support(READ))
    return {};
  auto shared = sharing->shareSamples();
  if (!shared.owner)
    return {};
  requireUnchanged(adaptation_.sourceShape, adaptation_.sourceType, {shared.indexer.shape(), shared.indexer.dtype()});
  auto const offset = static_cast<int64_t>(adaptation_.axes.offsetInMemory(shared.indexer));
  return {adaptation_.axes.overMemory(shared.indexer, adaptation_.shape, adaptation_.type),
          static_cast<std::byte *>(shared.data) + offset, std::move(shared.owner)};
}

ValueConversion AdaptedImageView::reading() const {
  if (adaptation_.values.empty())
    return {};
  ValueConversion conversion(scalarTypeOf(adaptation_.sourceType));
  for (auto const & operation : adaptation_.values)
    conversion.add({operation.type(), operation.map()});
  return conversion;
}

ValueConversion AdaptedImageView::writing() const {
  auto const & values = adaptation_.values;
  if (values.empty())
    return {};
  ValueConversion conversion(values.back().type());
  for (size_t n = values.size(); n-- > 0;) {
    auto const type = n == 0 ? scalarTypeOf(adaptation_.sourceType) : values[n - 1].type();
    conversion.add({type, values[n].inverse()});
  }
  return conversion;
}

bool AdaptedImageView::movesSamples() const {
  return adaptation_.values.empty() && adaptation_.axes.keepsSamples(adaptation_.sourceType, adaptation_.type);
}

void AdaptedImageView::read(VectorXu64 const & index, void * destination) {
  guarded([&] {
    if (!support(READ))
      return ImageView::read(index, destination);
    requireIndex(index, shape());
    if (!movesSamples())
      return readRegion(at(index), destination);
    auto const sourceIndex = adaptation_.axes.sourceIndex(index);
    auto const * const sharing = dynamic_cast<SampleSharing const *>(adaptation_.source.get());
    auto const shared = sharing == nullptr ? SharedSamples() : sharing->shareSamples();
    if (!shared.owner)
      return readRegion(at(index), destination);
    auto const & indexer = shared.indexer;
    requireUnchanged(adaptation_.sourceShape, adaptation_.sourceType, {indexer.shape(), indexer.dtype()});
    auto const offset = static_cast<int64_t>(indexer.byteOffset(sourceIndex));
    std::memmove(destination, static_cast<std::byte const *>(shared.data) + offset, dataType().byteCount());
  });
}

void AdaptedImageView::write(VectorXu64 const & index, void const * source) {
  if (!support(WRITE))
    return ImageView::write(index, source);
  requireIndex(index, shape());
  writeRegion(at(index), source);
}

void AdaptedImageView::readRegion(RegionXu64 const & region, void * destination) {
  guarded([&] {
    if (!support(READ))
      return ImageView::readRegion(region, destination);
    requireInside(region, shape());
    ComponentFormat const format(dataType());
    auto const whole = SampleRegion::whole(region, dataType());
    if (!whole.isEmpty())
      readStrided(whole, {}, destination, SampleStrides::dense(region.size(), format.count, format.bytes));
  });
}

void AdaptedImageView::writeRegion(RegionXu64 const & region, void const * source) {
  guarded([&] {
    if (!support(WRITE))
      return ImageView::writeRegion(region, source);
    requireInside(region, shape());
    ComponentFormat const format(dataType());
    auto const whole = SampleRegion::whole(region, dataType());
    if (!whole.isEmpty())
      writeStrided(whole, {}, source, SampleStrides::dense(region.size(), format.count, format.bytes));
  });
}

namespace {

/// Calls visit(region, offset) for a transfer, or for one after the other of its components where some are left out.
template <typename Visit> void forEachPart(SourceTransfer transfer, Visit const & visit) {
  if (transfer.componentStep == 1)
    return visit(transfer.region, transfer.offset);
  auto const count = std::exchange(transfer.region.componentCount, 1);
  for (uint64_t n = 0; n < count; ++n) {
    visit(transfer.region, transfer.offset);
    transfer.region.firstComponent += transfer.componentStep;
    transfer.offset += transfer.strides.componentStride;
  }
}

} // namespace

void AdaptedImageView::readStrided(SampleRegion const & region, ValueConversion const & conversion, void * destination,
                                   SampleStrides const & strides) {
  if (!support(READ))
    ImageView::readRegion(RegionXu64(region.origin, region.size), destination);
  auto values = adaptation_.values.empty() ? conversion : reading();
  if (!adaptation_.values.empty())
    for (auto const & step : conversion.steps())
      values.add(step);
  auto const transfer = adaptation_.axes.translate(region, strides, adaptation_.sourceType, adaptation_.sourceShape);
  forEachPart(transfer, [&](SampleRegion const & part, uint64_t offset) {
    auto * const first = static_cast<std::byte *>(destination) + static_cast<int64_t>(offset);
    readSamples(*adaptation_.source, part, values, first, transfer.strides);
  });
}

void AdaptedImageView::writeStrided(SampleRegion const & region, ValueConversion const & conversion,
                                    void const * source, SampleStrides const & strides) {
  if (!support(WRITE))
    ImageView::writeRegion(RegionXu64(region.origin, region.size), source);
  auto values = conversion.isEmpty() ? writing() : conversion;
  if (!conversion.isEmpty()) {
    auto const back = writing();
    for (auto const & step : back.steps())
      values.add(step);
  }
  auto const transfer = adaptation_.axes.translate(region, strides, adaptation_.sourceType, adaptation_.sourceShape);
  forEachPart(transfer, [&](SampleRegion const & part, uint64_t offset) {
    auto const * const first = static_cast<std::byte const *>(source) + static_cast<int64_t>(offset);
    writeSamples(*adaptation_.source, part, values, first, transfer.strides);
  });
}

uint64_t AdaptedImageView::memoryOffset() const {
  auto const & known = indexer(); // of the memory as it was when somebody first asked
  requireUnchangedSource();
  auto const & source = adaptation_.source->indexer();
  if (adaptation_.axes.overMemory(source, adaptation_.shape, adaptation_.type) != known)
    throw Error("the memory of the image that the view was made from was laid out anew since");
  return adaptation_.axes.offsetInMemory(source);
}

Indexer const & AdaptedImageView::indexer() const {
  if (!isInMemory_ || !support(READ))
    return ImageView::indexer();
  auto const * known = indexer_.load();
  if (known == nullptr) {
    requireUnchangedSource();
    auto made = std::make_unique<Indexer const>(
        adaptation_.axes.overMemory(adaptation_.source->indexer(), adaptation_.shape, adaptation_.type));
    if (indexer_.compare_exchange_strong(known, made.get()))
      known = made.release();
  }
  return *known;
}

void * AdaptedImageView::buffer() {
  if (!support(MEMORY_ACCESS))
    return ImageView::buffer();
  auto const offset = memoryOffset();
  return static_cast<std::byte *>(adaptation_.source->buffer()) + static_cast<int64_t>(offset);
}

void const * AdaptedImageView::buffer() const {
  if (!isInMemory_ || !support(READ))
    return ImageView::buffer();
  auto const offset = memoryOffset();
  return static_cast<std::byte const *>(std::as_const(*adaptation_.source).buffer()) + static_cast<int64_t>(offset);
}

size_t AdaptedImageView::bufferSize() const {
  if (!isInMemory_ || !support(READ))
    return ImageView::bufferSize();
  return checkedMultiply(indexer().elementCount(), dataType().byteCount(), "bytes of an image");
}

} // namespace zarnik
