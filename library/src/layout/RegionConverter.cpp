#include "zarnik/layout/RegionConverter.h"

#include "core/Guarded.h"
#include "layout/ConversionPlan.h"
#include "layout/RegionChecks.h"
#include "zarnik/core/Error.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>

namespace zarnik {

ScalarType scalarTypeOf(DataType type) {
  size_t const bits = type.bitDepth();
  bool const whole = bits == 8 || bits == 16 || bits == 32 || bits == 64;
  size_t const size = static_cast<size_t>(std::countr_zero(bits)) - 3; // 0 for 8 bits .. 3 for 64
  switch (type.primitiveType()) {
  case PrimitiveTypeId::UNSIGNED_INTEGER:
    if (whole) {
      return static_cast<ScalarType>(2 * size);
    }
    break;
  case PrimitiveTypeId::SIGNED_INTEGER:
    if (whole) {
      return static_cast<ScalarType>(2 * size + 1);
    }
    break;
  case PrimitiveTypeId::FLOATING_POINT:
    if (bits == 32 || bits == 64) {
      return bits == 32 ? ScalarType::F32 : ScalarType::F64;
    }
    break;
  default:
    break;
  }
  throw InvalidArgument(message("values of type {} cannot be converted, only integers of 8, 16, 32 or 64 bits and "
                                "floating point numbers of 32 or 64 bits",
                                type.toString()));
}

namespace {

ConversionPlan plan(Indexer const & source, Indexer const & destination, VectorXu64 const & sourceOrigin,
                    VectorXu64 const & destinationOrigin, VectorXu64 const & size, std::optional<LinearMap> map) {
  DataType const from = source.dtype();
  DataType const to = destination.dtype();
  if (from.elementCount() != to.elementCount()) {
    throw InvalidArgument(message("elements of {} components cannot be converted to elements of {}",
                                  from.elementCount(), to.elementCount()));
  }
  ScalarType const fromScalar = scalarTypeOf(from);
  ScalarType const toScalar = scalarTypeOf(to);
  layout::checkRegion("source", source, sourceOrigin, size);
  layout::checkRegion("destination", destination, destinationOrigin, size);
  using Extents = std::array<uint64_t, layout::LoopNest::CAPACITY>;
  size_t const rank = size.size() + 1;
  if (rank > layout::LoopNest::CAPACITY) {
    throw InvalidArgument(message("a region of {} dimensions is above the {} that can be converted", size.size(),
                                  layout::LoopNest::CAPACITY - 1));
  }
  auto const withComponents = [&](auto const & values, uint64_t component) {
    Extents result;
    result[0] = component;
    std::copy_n(values.data(), values.size(), result.begin() + 1);
    return result;
  };
  Extents const extents = withComponents(size, from.elementCount());
  Extents const sourceStrides = withComponents(source.byteStride(), from.bitDepth() / 8);
  Extents const destinationStrides = withComponents(destination.byteStride(), to.bitDepth() / 8);
  return ConversionPlan({extents.data(), rank}, {sourceStrides.data(), rank}, {destinationStrides.data(), rank},
                        fromScalar, toScalar, map);
}

} // namespace

RegionConverter::RegionConverter(Indexer const & source, Indexer const & destination, VectorXu64 const & sourceOrigin,
                                 VectorXu64 const & destinationOrigin, VectorXu64 const & size,
                                 std::optional<LinearMap> map)
    : plan_(guarded([&] {
        return std::make_shared<ConversionPlan const>(
            plan(source, destination, sourceOrigin, destinationOrigin, size, map));
      })),
      sourceOffset_(layout::originOffset(source, sourceOrigin)),
      destinationOffset_(layout::originOffset(destination, destinationOrigin)) {}

void RegionConverter::convert(void const * source, void * destination) const {
  plan_->run(static_cast<std::byte const *>(source) + static_cast<int64_t>(sourceOffset_),
             static_cast<std::byte *>(destination) + static_cast<int64_t>(destinationOffset_));
}

} // namespace zarnik
