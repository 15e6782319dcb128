#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/Vector.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zarnik {

#ifndef SWIG
template <typename T> class RegionX;
#endif

/// Axis-aligned box of N dimensions, N = 2, 3 or 4: an origin and a size.
///
/// The last point contained fits the coordinate type, so no operation overflows.
template <typename T, size_t N> class ZARNIK_API Region {
public:
  typedef Vector<T, N> VectorType;
  typedef Vector<T, N> SizeType;

  /// Return number of dimension of this region
  ///
  /// \return The number of axes.
  size_t dimensionCount() const { return N; }

  /// Return region's origin
  ///
  /// \return The first point contained, one coordinate an axis.
  VectorType const & origin() const { return origin_; }

  /// return size of region
  ///
  /// \return The extent along each axis, in elements.
  SizeType const & size() const { return size_; }

  /// Return number of elements (pixel, voxel, samples) contained in the region.
  ///
  /// \return The product of the sizes, 0 for an empty region.
  /// \throws InvalidArgument If the number does not fit 64 bits.
  size_t elementCount() const;

  /// return min region coordinates
  ///
  /// \return The origin.
  VectorType min() const { return origin_; }

  /// return max region coordinates
  ///
  /// \return The last point contained: origin + size - 1 along each axis. For an empty region, the origin.
  VectorType max() const;

  /// Indicates if region is empty
  ///
  /// \return True if the size along an axis is 0.
  bool isEmpty() const;

  /// Check if the region contains another one.
  ///
  /// \param other A region. An empty one is contained if its corners lie in this region or on its border.
  /// \return True when no point of the other region is outside of this one.
  bool contains(Region<T, N> const & other) const;

  /// Check if the region contains a point.
  ///
  /// \param point The coordinates of the point.
  /// \return True from the origin to the last point contained.
  bool contains(VectorType const & point) const;

  /// Check if two regions have points in common.
  ///
  /// \param other The other region.
  /// \return True when there is such a point; never for an empty region.
  bool intersect(Region<T, N> const & other) const;

  /// Return the points that two regions have in common.
  ///
  /// \param other The other region.
  /// \return The common region, empty if the regions do not intersect.
  Region<T, N> intersection(Region<T, N> const & other) const;

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
  Region<T, N> extractSliceFromAxis(size_t dimension, T origin) const;

  /// Returns the intersection region between current and given one
  ///
  /// \return True if the regions are identical (same origin if both null size, same origin and size otherwise).
  // The first sentence is part of the published interface; the operator compares.
  bool operator==(Region<T, N> const & other) const;

  /// Return a string representation
  ///
  /// \return Origin and size, as (origin (0, 0), size (5, 6)).
  std::string toString() const;

  /// Create an empty region at the origin of the axes.
  Region() = default;

  /// Create a region.
  ///
  /// \param origin First point contained.
  /// \param size Extent along each axis.
  /// \throws InvalidArgument If the last point contained does not fit the coordinate type.
  Region(VectorType const & origin, SizeType const & size);

  /// Create a region from one of run-time dimension.
  ///
  /// \param other A region of the same number of dimensions.
  /// \throws InvalidArgument If it has another number of dimensions.
  explicit Region(RegionX<T> const & other);

  /// Copy a region.
  Region(Region<T, N> const & other) = default;

#ifndef SWIG
  Region & operator=(Region const & other) = default;
#endif

private:
  VectorType origin_;
  SizeType size_;
};

#ifndef SWIG
using Region2u64 = Region<uint64_t, 2>;
using Region3u64 = Region<uint64_t, 3>;
using Region4u64 = Region<uint64_t, 4>;
extern template class Region<uint64_t, 2>;
extern template class Region<uint64_t, 3>;
extern template class Region<uint64_t, 4>;
#endif

} // namespace zarnik
