#include "zarnik/views/TypedTransfer.h"

#include "views/RegionTransfer.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/SharedSamples.h"

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
  if (auto const * const sharing = dynamic_cast<SampleSharing const *>(&image))
    if (auto const shared = sharing->shareSamples(); shared.owner) {
      requireType(type, shared.indexer.dtype());
      return readDense(shared.indexer, shared.data, region, destination);
    }
  requireType(type, image.dataType());
  if (!checksType(image))
    return image.readRegion(region, destination);
  requireInside(region, image.shape());
  readSamples(image, SampleRegion::whole(region, type), {}, destination, denseStrides(region, type));
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
