#pragma once

#include "adapters/DescribedImageView.h"
#include "views/RegionTransfer.h"
#include "zarnik/views/SharedSamples.h"

namespace zarnik {

/// Another image with properties and metadata of its own, able to do what that one can.
class RelabelledImageView : public DescribedImageView, public StridedTransfer, public SampleSharing {
public:
  /// Views that only restrict or relabel are taken off the image.
  RelabelledImageView(std::shared_ptr<ImageView> image, Description description);
  ~RelabelledImageView() override;

  std::shared_ptr<ImageView> const & relabelled() const { return image_; }
  ImageCapabilitySet allowed() const { return allowed_; }

  std::shared_ptr<Extension> extension(size_t id) const override;
  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override;
  DataType dataType() const override;
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;
  void write(VectorXu64 const & index, void const * source) override;
  void writeRegion(RegionXu64 const & region, void const * source) override;
  void reshape(VectorXu64 const & shape, DataType dataType) override;
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
  void require(ImageCapability capability) const;

  std::shared_ptr<ImageView> image_;
  ImageCapabilitySet allowed_;
};

} // namespace zarnik
