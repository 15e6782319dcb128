#pragma once

#include "views/RegionTransfer.h"
#include "zarnik/values/Indexer.h"

#include <cstdint>
#include <vector>

namespace zarnik {

/// Where an index along one dimension of a view leads in its source: origin + index * step.
struct MappedAxis {
  /// No dimension of the source: the view has one element along it.
  static constexpr size_t NONE = ~size_t{0};

  size_t source = NONE;
  uint64_t origin = 0;
  int64_t step = 1;
};

/// A transfer of a view's samples as one of its source's.
struct SourceTransfer {
  SampleRegion region;
  SampleStrides strides;
  uint64_t offset = 0;        ///< from the caller's first sample to that of the region, in bytes modulo 2^64
  uint64_t componentStep = 1; ///< of the region's components, only every so many-th is meant
};

/// The geometry of a view over a source: any number of permutations, crops, steps, flips, dropped and inserted
/// dimensions, as one mapping. The components of the samples are an axis of their own, the last one, on both sides.
class AxisMapping {
public:
  /// The same geometry.
  explicit AxisMapping(size_t rank);

  size_t rank() const { return axes_.size() - 1; }
  /// Where a dimension leads; to number `rank of the source` if that is the components.
  MappedAxis const & axis(size_t dimension) const { return axes_[dimension]; }

  /// Begins an axis at another index; `rank()` is the axis of the components.
  void crop(size_t axis, uint64_t origin);
  /// Turns an axis of that extent around.
  void flip(size_t axis, uint64_t extent);
  /// Keeps every nth index of an axis of that extent.
  void keepEvery(size_t axis, uint64_t step, uint64_t extent);
  /// Leaves out a dimension but for its first index.
  void drop(size_t axis);
  /// Leaves out all components but the first.
  void dropComponents();
  /// Makes a dimension the components of the samples, which have had one.
  void dimensionToComponents(size_t axis);
  /// Makes the components a dimension; samples have one from then on.
  void componentsToDimension(size_t axis);
  /// Reorders the dimensions: number n becomes order[n].
  void permute(VectorXu64 const & order);

  /// \param region not empty
  /// \param type   of the source
  /// \param shape  of the source; it outlives the result
  SourceTransfer translate(SampleRegion const & region, SampleStrides const & strides, DataType type,
                           VectorXu64 const & shape) const;

  /// Whether each index leads to itself.
  bool isIdentity() const;
  /// Whether transfers may leave out components of the source's samples.
  bool separatesComponents(DataType source, DataType view) const;

  /// Whether samples are moved as they are, all components in their order.
  bool keepsSamples(DataType source, DataType view) const;
  /// The source's index for one of the view.
  VectorXu64 sourceIndex(VectorXu64 const & index) const;

  /// Whether an indexer can tell the view's geometry over the memory of its source.
  bool fitsMemory(Indexer const & source, DataType type) const;
  /// The view's geometry over the memory of its source.
  Indexer overMemory(Indexer const & source, VectorXu64 const & shape, DataType type) const;
  /// Bytes from the source's element with index 0 to the view's, modulo 2^64.
  uint64_t offsetInMemory(Indexer const & source) const;

private:
  size_t sourceComponents() const { return fixed_.size() - 1; }
  void fix(MappedAxis const & axis);
  uint64_t strideInMemory(MappedAxis const & axis, Indexer const & source, uint64_t unmapped) const;

  std::vector<MappedAxis> axes_;
  VectorXu64 fixed_; // indices along the axes of the source that none of the view leads to
};

} // namespace zarnik
