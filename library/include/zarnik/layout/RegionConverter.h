#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/layout/ScalarType.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/values/VectorX.h"

#include <memory>
#include <optional>

namespace zarnik {

class ConversionPlan;

/// Returns the scalar type of the components of a data type.
/// \throws InvalidArgument If they are none of the ten scalar types.
ZARNIK_API ScalarType scalarTypeOf(DataType type);

/// Copies a region of one buffer to a region of another of the same size, converting the values from the element type
/// of the one to that of the other: `RegionCopier` for elements that change their type.
///
/// Elements of several components are converted component by component.
///
/// How a value changes its type:
/// - integer to integer: a value out of range becomes the nearest limit;
/// - floating point to integer: to the nearest integer, ties to the even one, a value out of range becomes the nearest
///   limit; NaN becomes 0;
/// - integer to floating point: to the nearest value of the type, ties to even;
/// - double to float: to the nearest value, ties to even, beyond the largest one infinity; NaN stays NaN;
/// - with a linear map: the value as a double (rounded to nearest for integers above 2^53), mapped, and then from
///   double to the type as above.
class ZARNIK_API RegionConverter {
public:
  /// Prepares the conversion; no buffer is touched.
  /// \param source Geometry and element type of the buffer that is read.
  /// \param destination Geometry and element type of the buffer that is written.
  /// \param sourceOrigin Index of the region's first element in the source.
  /// \param destinationOrigin Index of the region's first element in the destination.
  /// \param size Elements along each dimension; any 0 converts nothing.
  /// \param map Applied to each value between the two types.
  /// \throws InvalidArgument If the ranks or the numbers of components differ, if the region does not lie within both
  /// shapes, or if a type has components that are none of the ten scalar types.
  RegionConverter(Indexer const & source, Indexer const & destination, VectorXu64 const & sourceOrigin,
                  VectorXu64 const & destinationOrigin, VectorXu64 const & size,
                  std::optional<LinearMap> map = std::nullopt);

  /// Converts the region. When the two regions share memory, the result is as if the whole source had been read
  /// before the first value was written; unless they are the same elements, this takes a temporary copy of the result.
  /// \param source The source buffer: the element with index 0 along every dimension.
  /// \param destination The destination buffer, likewise.
  void convert(void const * source, void * destination) const;

private:
  std::shared_ptr<ConversionPlan const> plan_;
  uint64_t sourceOffset_;
  uint64_t destinationOffset_;
};

} // namespace zarnik
