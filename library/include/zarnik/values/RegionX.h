#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/VectorX.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zarnik {

/// Axis-aligned box whose number of dimensions is chosen at run time: an origin and a size.
///
/// The last point contained fits the coordinate type, so no operation overflows.
template <typename T> class ZARNIK_API RegionX {
public:
  typedef VectorX<T> VectorType;
  typedef VectorX<T> SizeType;

  /// Create a region of size one along each axis.
  ///
  /// \param position The only point contained.
  /// \return A new region whose origin is the point.
  static RegionX<T> fromIndex(VectorType const & position);

  /// Create an empty region at the origin of the axes.
  ///
  /// \param dimensionCount Number of dimensions.
  explicit RegionX(size_t dimensionCount);

  /// Copy a region.
  RegionX(RegionX<T> const & other) = default;

  /// Take over the origin and size of another region, which is left without dimensions.
  RegionX(RegionX<T> && other) noexcept = default;

  /// Create a region.
  ///
  /// \param origin First point contained.
  /// \param size Extent along each axis.
  /// \throws InvalidArgument If origin and size have different numbers of dimensions, or the last point contained
  /// does not fit the coordinate type.
  RegionX(VectorType const & origin, SizeType const & size);

#ifndef SWIG
  RegionX & operator=(RegionX const & other) = default;
  RegionX & operator=(RegionX && other) noexcept = default;
#endif

  /// Utility factory that create the region of origin [0, 0, 0] and given size.
  ///
  /// \param size Extent along each axis.
  /// \return A new region, with as many zeros in its origin as the size has axes.
  static RegionX<T> createFullRegion(SizeType const & size);

  /// Return number of dimension of this region
  ///
  /// \return The number of axes.
  size_t dimensionCount() const { return origin_.size(); }

  /// Return region's origin
  ///
  /// \return The first point contained, one coordinate an axis.
  VectorType const & origin() const { return origin_; }

  /// return size of region
  ///
  /// \return The extent along each axis, in elements.
  SizeType const & size() const { return size_; }

  /// return min region coordinates
  ///
  /// \return The origin.
  VectorType min() const { return origin_; }

  /// return max region coordinates
  ///
  /// \return The last point contained: origin + size - 1 along each axis. For an empty region, the origin.
  VectorType max() const;

  /// Return number of elements (pixel, voxel, samples) contained in the region.
  ///
  /// Only applicable to integer typed regions.
  /// It will return 0 for floating point regions.
  ///
  /// \return The product of the sizes, 0 for an empty region.
  /// \throws InvalidArgument If the number does not fit 64 bits.
  size_t elementCount() const;

  /// Indicates if region is empty
  ///
  /// \return True if the size along an axis is 0.
  bool isEmpty() const;

  /// Check if the region contains another one.
  ///
  /// \param other A region. An empty one is contained if its corners lie in this region or on its border.
  /// \return True when no point of the other region is outside of this one.
  /// \throws InvalidArgument if region don't have compatible dimensions
  bool contains(RegionX<T> const & other) const;

  /// Check if the region contains a point.
  ///
  /// \param point The coordinates of the point.
  /// \return True from the origin to the last point contained.
  /// \throws InvalidArgument if region don't have compatible dimensions
  bool contains(VectorType const & point) const;

  /// Check if two regions have points in common.
  ///
  /// \param other The other region.
  /// \return True when there is such a point; never for an empty region.
  /// \throws InvalidArgument if region don't have compatible dimensions
  bool intersect(RegionX<T> const & other) const;

  /// Return the points that two regions have in common.
  ///
  /// \param other The other region.
  /// \return The common region, empty if the regions do not intersect.
  /// \throws InvalidArgument if region don't have compatible dimensions
  RegionX<T> intersection(RegionX<T> const & other) const;

  /// Returns a region of size one along one axis
  ///
  /// e.g. a 3D region {{0, 0, 0}, {5, 6, 7}}
  /// - extractSliceFromAxis(0, 3) returns 3D region {{3, 0, 0}, {1, 6, 7}}
  /// - extractSliceFromAxis(1, 4) returns 3D region {{0, 4, 0}, {5, 1, 7}}
  /// - extractSliceFromAxis(2, 5) returns 3D region {{0, 0, 5}, {5, 6, 1}}
  ///
  /// e.g. a 3D region { {2, 3, 4}, {5, 6, 7}}
  /// - extractSliceFromAxis(0, 3) returns 3D region {{5, 3, 4}, {1, 6, 7}}
  ///
  /// \param dimension The axis.
  /// \param origin Position of the slice along the axis, counted from the region's origin.
  /// \return A region of the same number of dimensions, of size one along the axis.
  /// \throws InvalidArgument If the dimension or the origin is out of range.
  RegionX<T> extractSliceFromAxis(size_t dimension, T origin) const;

  /// Check if two regions are identical.
  ///
  /// \return True if the regions are identical (same origin if both null size, same origin and size otherwise).
  bool operator==(RegionX<T> const & other) const;

  /// Check if two regions differ.
  ///
  /// \return False if the regions are identical (same origin if both null size, same origin and size otherwise).
  bool operator!=(RegionX<T> const & other) const;

  /// Return a string representation
  ///
  /// \return Origin and size, as (origin (0, 0), size (5, 6)).
  std::string toString() const;

private:
  VectorType origin_;
  SizeType size_;
};

#ifndef SWIG
using RegionXu64 = RegionX<uint64_t>;
extern template class RegionX<uint64_t>;
#endif

} // namespace zarnik
