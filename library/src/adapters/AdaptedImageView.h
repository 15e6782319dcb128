#pragma once

#include "adapters/AxisMapping.h"
#include "adapters/DescribedImageView.h"
#include "zarnik/views/SharedSamples.h"

#include <atomic>
#include <optional>
#include <vector>

namespace zarnik {

/// A conversion of values, and the way back. Every view has its own, so it is kept small.
class ValueOperation {
public:
  ValueOperation(ScalarType type, std::optional<LinearMap> map, std::optional<LinearMap> inverse, bool isInvertible)
      : type_(type), isInvertible_(isInvertible), hasMap_(map.has_value()), hasInverse_(inverse.has_value()),
        map_(map.value_or(LinearMap())), inverse_(inverse.value_or(LinearMap())) {}

  ScalarType type() const { return type_; } ///< of the result
  bool isInvertible() const { return isInvertible_; }
  std::optional<LinearMap> map() const { return hasMap_ ? std::optional(map_) : std::nullopt; }
  std::optional<LinearMap> inverse() const { return hasInverse_ ? std::optional(inverse_) : std::nullopt; }

private:
  ScalarType type_;
  bool isInvertible_, hasMap_, hasInverse_;
  LinearMap map_, inverse_;
};

/// How the samples of a view come from those of its source: the geometry, then the values.
struct Adaptation {
  /// No adaptation yet of a view; restrictions and adaptations that it is made of are taken apart, so that the source
  /// is none of these.
  static Adaptation of(std::shared_ptr<ImageView> image);

  std::shared_ptr<ImageView> source;
  VectorXu64 sourceShape;
  DataType sourceType;
  AxisMapping axes;
  std::vector<ValueOperation> values;
  VectorXu64 shape;
  DataType type;
  ImageCapabilitySet allowed;
};

/// A lazy view of another one: one mapping of axes and one list of conversions, however many views it was made through.
class AdaptedImageView : public DescribedImageView, public StridedTransfer, public SampleSharing {
public:
  AdaptedImageView(Adaptation adaptation, Description description);
  ~AdaptedImageView() override;

  Adaptation const & adaptation() const { return adaptation_; }

  std::shared_ptr<Extension> extension(size_t id) const override;
  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override;
  DataType dataType() const override;
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;
  void write(VectorXu64 const & index, void const * source) override;
  void writeRegion(RegionXu64 const & region, void const * source) override;
  Indexer const & indexer() const override;
  void * buffer() override;
  void const * buffer() const override;
  size_t bufferSize() const override;
  void readStrided(SampleRegion const & region, ValueConversion const & conversion, void * destination,
                   SampleStrides const & strides) override;
  void writeStrided(SampleRegion const & region, ValueConversion const & conversion, void const * source,
                    SampleStrides const & strides) override;
  bool readsToWriteComponents() const override;
  bool mayTouchSources(void const * begin, void const * end) const override;
  SharedSamples shareSamples() const override;

private:
  std::shared_ptr<Extension> tiling() const;
  bool isInvertible() const;
  bool movesSamples() const;
  void requireUnchangedSource() const;
  uint64_t memoryOffset() const;
  ValueConversion reading() const;
  ValueConversion writing() const;

  Adaptation adaptation_;
  bool isInMemory_ = false;
  mutable std::atomic<Indexer const *> indexer_ = nullptr; // made when it is asked for
};

} // namespace zarnik
