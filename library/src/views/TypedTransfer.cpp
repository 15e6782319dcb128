#include "zarnik/views/TypedTransfer.h"

#include "views/RegionTransfer.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/SharedSamples.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>

namespace zarnik {
namespace {

void requireType(DataType expected, DataType now) {
  if (now != expected)
    throw Error(fmt::format("the image has samples of {} by now, not of {}: it was reshaped meanwhile", now.toString(),
                            expected.toString()));
}

SampleStrides denseStrides(RegionXu64 const & region, DataType type) {
  ComponentFormat const format(type);
  return SampleStrides::dense(region.size(), format.count, format.bytes);
}

/// Whether the image checks the type by the samples that it moves. Others have one type for their lives.
bool checksType(ImageView & image) { return dynamic_cast<StridedTransfer *>(&image) != nullptr; }

} // namespace

void readRegionAs(ImageView & image, RegionXu64 const & region, DataType type, void * destination) {
  if (!image.support(ImageCapability::READ))
    return image.readRegion(region, destination); // says so
  if (auto const * const sharing = dynamic_cast<SampleSharing const *>(&image)) {
    if (auto const shared = sharing->shareSamples(); shared.owner) {
      requireType(type, shared.indexer.dtype());
      return readDense(shared.indexer, shared.data, region, destination);
    }
  }
  requireType(type, image.dataType());
  if (!checksType(image))
    return image.readRegion(region, destination);
  requireInside(region, image.shape());
  readSamples(image, SampleRegion::whole(region, type), {}, destination, denseStrides(region, type));
}

void readRegionAs(ImageView & image, RegionXu64 const & region, DataType type, void * destination,
                  VectorXu64 const & byteStrides, uint64_t componentStride) {
  if (!image.support(ImageCapability::READ))
    return image.readRegion(region, destination); // says so
  requireType(type, image.dataType());
  requireInside(region, image.shape());
  readSamples(image, SampleRegion::whole(region, type), {}, destination, {byteStrides, componentStride});
}

namespace {

/// Whether memory of a geometry, whose element with index 0 is there, has bytes between two addresses.
bool isBetween(Indexer const & indexer, void const * memory, void const * begin, void const * end) {
  auto const first = reinterpret_cast<uintptr_t>(memory);
  uintptr_t below = 0, above = indexer.dtype().byteCount();
  for (size_t axis = 0; axis < indexer.shape().size(); ++axis) {
    if (indexer.shape()[axis] == 0)
      return false;
    auto const reach = static_cast<int64_t>(indexer.byteStride()[axis] * (indexer.shape()[axis] - 1));
    (reach < 0 ? below : above) += static_cast<uintptr_t>(reach < 0 ? -reach : reach);
  }
  return first - below < reinterpret_cast<uintptr_t>(end) && reinterpret_cast<uintptr_t>(begin) < first + above;
}

} // namespace

bool mayTouch(ImageView const & image, void const * begin, void const * end) {
  if (auto const * const sharing = dynamic_cast<SampleSharing const *>(&image))
    if (auto const shared = sharing->shareSamples(); shared.owner)
      return isBetween(shared.indexer, shared.data, begin, end);
  auto const * const borrowed = dynamic_cast<BorrowedMemoryView const *>(&image);
  if (borrowed != nullptr && borrowed->support(ImageCapability::READ))
    return isBetween(borrowed->indexer(), borrowed->buffer(), begin, end);
  if (auto const * const transfer = dynamic_cast<StridedTransfer const *>(&image))
    if (!transfer->mayTouchSources(begin, end))
      return false;
  auto const origin = image.viewOrigin();
  auto const place = origin ? origin->dataOrigin() : ViewDataOrigin::UNKNOWN;
  return place != ViewDataOrigin::DRIVE && place != ViewDataOrigin::NETWORK;
}

void writeRegionAs(ImageView & image, RegionXu64 const & region, DataType type, void const * source) {
  requireType(type, image.dataType());
  bool const isOwner = dynamic_cast<SampleSharing const *>(&image) != nullptr;
  if (!image.support(ImageCapability::WRITE) || !(isOwner || checksType(image)))
    return image.writeRegion(region, source);
  requireInside(region, image.shape());
  writeSamples(image, SampleRegion::whole(region, type), {}, source, denseStrides(region, type));
}

} // namespace zarnik
