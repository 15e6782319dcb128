#include "zarnik/layout/RegionCopier.h"

#include "layout/RegionChecks.h"

namespace zarnik {

namespace {

CopyPlan plan(Indexer const & source, Indexer const & destination, VectorXu64 const & sourceOrigin,
              VectorXu64 const & destinationOrigin, VectorXu64 const & size, DataType type) {
  layout::checkElementBytes("source", source.dtype(), type);
  layout::checkElementBytes("destination", destination.dtype(), type);
  layout::checkRegion("source", source, sourceOrigin, size);
  layout::checkRegion("destination", destination, destinationOrigin, size);
  auto const & sourceStrides = source.byteStride();
  auto const & destinationStrides = destination.byteStride();
  return CopyPlan({size.data(), size.size()}, {sourceStrides.data(), sourceStrides.size()},
                  {destinationStrides.data(), destinationStrides.size()}, type.byteCount());
}

} // namespace

RegionCopier::RegionCopier(Indexer const & source, Indexer const & destination, VectorXu64 const & sourceOrigin,
                           VectorXu64 const & destinationOrigin, VectorXu64 const & size, DataType type)
    : plan_(plan(source, destination, sourceOrigin, destinationOrigin, size, type)),
      sourceOffset_(layout::originOffset(source, sourceOrigin)),
      destinationOffset_(layout::originOffset(destination, destinationOrigin)) {}

void RegionCopier::copy(void const * source, void * destination) const {
  plan_.run(static_cast<std::byte const *>(source) + static_cast<int64_t>(sourceOffset_),
            static_cast<std::byte *>(destination) + static_cast<int64_t>(destinationOffset_));
}

} // namespace zarnik
