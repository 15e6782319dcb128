#include "direct/RegionTransfer.h"

#include "direct/CallWithoutLock.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/SharedSamples.h"
#include "zarnik/views/TypedTransfer.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <optional>
#include <utility>

namespace zarnik::python {

namespace {

// Below this the lock is given up for longer than it takes to copy.
constexpr uint64_t LARGE_BYTES = uint64_t{64} << 10;
// Less than this moves in well below 0.2 s even where every element needs a cache line of its own.
constexpr uint64_t LONG_BYTES = uint64_t{32} << 20;

bool isParallel(ImageView const & view, ParallelAccessCapability needed) {
  auto const access = ParallelAccessExtension::cast(view.extension(ParallelAccessExtension::EXTENSION_ID));
  if (!access)
    return false;
  auto const capabilities = access->capabilities();
  return capabilities.has(needed) || capabilities.has(ParallelAccessCapability::THREAD_SAFE);
}

bool isRemote(ImageView const & view) {
  auto const origin = ViewOriginExtension::cast(view.extension(ViewOriginExtension::EXTENSION_ID));
  return origin && origin->dataOrigin() == ViewDataOrigin::NETWORK;
}

// How long a transfer without the lock may take; none if the lock has to be kept.
std::optional<CallLength> lengthWithoutLock(ImageView const & view, uint64_t bytes, ParallelAccessCapability needed) {
  bool const isInMemory = view.capabilities().has(ImageCapability::MEMORY_ACCESS);
  if ((bytes < LARGE_BYTES && isInMemory) || !isParallel(view, needed))
    return std::nullopt;
  return bytes >= LONG_BYTES || (!isInMemory && isRemote(view)) ? CallLength::LONG : CallLength::SHORT;
}

// Samples that can be taken away are shared for the time, with the geometry that they have at the start.
std::optional<SharedSamples> samplesOf(ImageView const & view, DataType type, ImageCapability needed) {
  auto const * const sharing = dynamic_cast<SampleSharing const *>(&view);
  if (!sharing || !view.support(needed))
    return std::nullopt;
  auto shared = sharing->shareSamples();
  return shared.owner && shared.indexer.dtype() == type ? std::optional(std::move(shared)) : std::nullopt;
}

uint64_t byteCountOf(RegionXu64 const & region, DataType type) {
  return checkedMultiply(region.elementCount(), type.byteCount(), "bytes of the region");
}

} // namespace

void readDense(std::shared_ptr<ImageView> const & view, RegionXu64 const & region, DataType type, void * destination,
               Reference const & keeper) {
  auto const length = lengthWithoutLock(*view, byteCountOf(region, type), ParallelAccessCapability::PARALLEL_READ);
  if (!length) {
    readRegionAs(*view, region, type, destination);
    return;
  }
  callWithoutLock(
      [view, region, type, destination, samples = samplesOf(*view, type, ImageCapability::READ),
       kept = KeptObject(Reference(keeper))] {
        if (samples)
          zarnik::readDense(samples->indexer, samples->data, region, destination);
        else
          readRegionAs(*view, region, type, destination);
      },
      *length);
}

void readStrided(std::shared_ptr<ImageView> const & view, RegionXu64 const & region, DataType type, void * destination,
                 VectorXu64 const & byteStrides, uint64_t componentStride, Reference const & keeper) {
  auto const read = [=] { readRegionAs(*view, region, type, destination, byteStrides, componentStride); };
  auto const length = lengthWithoutLock(*view, byteCountOf(region, type), ParallelAccessCapability::PARALLEL_READ);
  if (!length)
    return read();
  callWithoutLock([read, kept = KeptObject(Reference(keeper))] { read(); }, *length);
}

void writeDense(std::shared_ptr<ImageView> const & view, RegionXu64 const & region, DataType type, void const * source,
                Reference const & keeper) {
  auto const length = lengthWithoutLock(*view, byteCountOf(region, type), ParallelAccessCapability::PARALLEL_WRITE);
  if (!length) {
    writeRegionAs(*view, region, type, source);
    return;
  }
  callWithoutLock(
      [view, region, type, source, samples = samplesOf(*view, type, ImageCapability::WRITE),
       kept = KeptObject(Reference(keeper))] {
        if (samples)
          zarnik::writeDense(samples->indexer, samples->data, region, source);
        else
          writeRegionAs(*view, region, type, source);
      },
      *length);
}

} // namespace zarnik::python
