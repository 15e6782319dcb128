#pragma once

#include "adapters/DescribedImageView.h"
#include "views/RegionTransfer.h"
#include "zarnik/views/ParallelAccessCapability.h"

#include <memory>
#include <vector>

namespace zarnik {

/// Several images of one shape as one: behind each other along a dimension, or their samples side by side.
class CombinedImageView : public DescribedImageView, public StridedTransfer {
public:
  ~CombinedImageView() override;

  std::shared_ptr<Extension> extension(size_t id) const override;
  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override { return shape_; }
  DataType dataType() const override { return type_; }
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;
  void write(VectorXu64 const & index, void const * source) override;
  void writeRegion(RegionXu64 const & region, void const * source) override;
  void readStrided(SampleRegion const & region, ValueConversion const & conversion, void * destination,
                   SampleStrides const & strides) override;
  void writeStrided(SampleRegion const & region, ValueConversion const & conversion, void const * source,
                    SampleStrides const & strides) override;
  bool readsToWriteComponents() const override;
  bool mayTouchSources(void const * begin, void const * end) const override;

  /// How many combinations are within each other here.
  size_t depth() const { return depth_; }

protected:
  using Frames = std::vector<std::shared_ptr<ImageView>>;

  /// A frame's share of a transfer.
  struct Part {
    size_t frame;
    SampleRegion region;
    SampleStrides strides;
    uint64_t offset; ///< from the caller's first sample, in bytes modulo 2^64
  };

  /// \param threadCount how many threads a transfer may use
  /// \throws InvalidArgument if too many combinations are within each other
  CombinedImageView(Frames frames, VectorXu64 shape, DataType type, size_t threadCount, Description description);

  virtual std::vector<Part> partsOf(SampleRegion const & region, SampleStrides const & strides) const = 0;

  Frames const & frames() const { return frames_; }

private:
  template <typename Transfer> void forEachPart(std::vector<Part> const & parts, bool parallel, Transfer transfer);
  bool allowsParallel(ParallelAccessCapabilitySet flags) const;

  Frames frames_;
  VectorXu64 frameShape_;
  std::vector<DataType> frameTypes_;
  VectorXu64 shape_;
  DataType type_;
  size_t threadCount_;
  size_t depth_ = 1;
};

/// Images behind each other along a new dimension.
class StackedImageView : public CombinedImageView {
public:
  StackedImageView(Frames frames, size_t axis, size_t threadCount, Description description);
  ~StackedImageView() override;

protected:
  std::vector<Part> partsOf(SampleRegion const & region, SampleStrides const & strides) const override;

private:
  size_t axis_;
};

/// Images whose samples are put together to vectors.
class InterlacedImageView : public CombinedImageView {
public:
  InterlacedImageView(Frames frames, DataType type, Description description);
  ~InterlacedImageView() override;

protected:
  std::vector<Part> partsOf(SampleRegion const & region, SampleStrides const & strides) const override;

private:
  std::vector<uint64_t> firstComponents_; // of each frame, and the end
};

} // namespace zarnik
