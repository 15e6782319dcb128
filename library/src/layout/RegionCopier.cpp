#include "zarnik/layout/RegionCopier.h"

#include "core/Guarded.h"
#include "layout/CopyPlan.h"
#include "layout/RegionChecks.h"

#include <algorithm>
#include <array>
#include <span>

namespace zarnik {

namespace {

std::span<uint64_t const> components(VectorXu64 const & vector) { return {vector.data(), vector.size()}; }

CopyPlan plan(Indexer const & source, Indexer const & destination, VectorXu64 const & sourceOrigin,
              VectorXu64 const & destinationOrigin, VectorXu64 const & size, DataType type) {
  layout::checkElementBytes("source", source.dtype(), type);
  layout::checkElementBytes("destination", destination.dtype(), type);
  layout::checkRegion("source", source, sourceOrigin, size);
  layout::checkRegion("destination", destination, destinationOrigin, size);
  return CopyPlan(components(size), components(source.byteStride()), components(destination.byteStride()),
                  type.byteCount());
}

// Strides of a dense buffer. What a wide product loses is found when the copy is planned.
struct DenseStrides {
  std::array<uint64_t, CopyPlan::MAXIMUM_RANK> values;

  DenseStrides(VectorXu64 const & size, uint64_t elementBytes) {
    auto stride = elementBytes;
    for (size_t axis = 0; axis < std::min(size.size(), values.size()); ++axis) {
      values[axis] = stride;
      stride *= size[axis];
    }
  }
};

} // namespace

RegionCopier::RegionCopier(Indexer const & source, Indexer const & destination, VectorXu64 const & sourceOrigin,
                           VectorXu64 const & destinationOrigin, VectorXu64 const & size, DataType type)
    : plan_(guarded([&] {
        return std::make_shared<CopyPlan const>(plan(source, destination, sourceOrigin, destinationOrigin, size, type));
      })),
      sourceOffset_(layout::originOffset(source, sourceOrigin)),
      destinationOffset_(layout::originOffset(destination, destinationOrigin)) {}

void RegionCopier::copy(void const * source, void * destination) const {
  plan_->run(static_cast<std::byte const *>(source) + static_cast<int64_t>(sourceOffset_),
             static_cast<std::byte *>(destination) + static_cast<int64_t>(destinationOffset_));
}

void readDense(Indexer const & indexer, void const * image, RegionXu64 const & region, void * dense) {
  layout::checkRegion("image", indexer, region.origin(), region.size());
  auto const elementBytes = indexer.dtype().byteCount();
  DenseStrides const strides(region.size(), elementBytes);
  CopyPlan(components(region.size()), components(indexer.byteStride()), {strides.values.data(), region.size().size()},
           elementBytes)
      .run(static_cast<std::byte const *>(image) + static_cast<int64_t>(layout::originOffset(indexer, region.origin())),
           dense);
}

void writeDense(Indexer const & indexer, void * image, RegionXu64 const & region, void const * dense) {
  layout::checkRegion("image", indexer, region.origin(), region.size());
  auto const elementBytes = indexer.dtype().byteCount();
  DenseStrides const strides(region.size(), elementBytes);
  CopyPlan(components(region.size()), {strides.values.data(), region.size().size()}, components(indexer.byteStride()),
           elementBytes)
      .run(dense,
           static_cast<std::byte *>(image) + static_cast<int64_t>(layout::originOffset(indexer, region.origin())));
}

} // namespace zarnik
