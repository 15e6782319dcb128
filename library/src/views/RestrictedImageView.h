#pragma once

#include "views/RegionTransfer.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/SharedSamples.h"

namespace zarnik {

/// Another image with only one of its capabilities. What the derived class does not pass on, `ImageView` refuses.
class RestrictedImageView : public ImageView, public StridedTransfer, public SampleSharing {
public:
  ~RestrictedImageView() override;
  std::shared_ptr<Extension> extension(size_t id) const override;
  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override;
  DataType dataType() const override;
  std::shared_ptr<ImageProperties const> properties() const override;
  std::shared_ptr<MetadataNode const> metadata() const override;
  SharedSamples shareSamples() const override;
  void readStrided(SampleRegion const & region, ValueConversion const & conversion, void * destination,
                   SampleStrides const & strides) override;
  void writeStrided(SampleRegion const & region, ValueConversion const & conversion, void const * source,
                    SampleStrides const & strides) override;
  bool readsToWriteComponents() const override;
  bool mayTouchSources(void const * begin, void const * end) const override;

  std::shared_ptr<ImageView> const & restricted() const { return image_; }
  ImageCapabilitySet allowed() const { return allowed_; }

protected:
  /// \param image   the image to show, not null
  /// \param allowed READ or WRITE
  /// \param name    how the result is made from the image, such as "read-only"
  RestrictedImageView(std::shared_ptr<ImageView> image, ImageCapability allowed, char const * name);

  ImageView & image() const { return *image_; }

private:
  std::shared_ptr<ImageView> image_;
  ImageCapability allowed_;
  std::shared_ptr<Extension> origin_;
};

/// Memory can be read, never changed: the changeable buffer() is refused, and MEMORY_ACCESS is not offered.
class ReadOnlyImageView : public RestrictedImageView {
public:
  explicit ReadOnlyImageView(std::shared_ptr<ImageView> image);
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;
  Indexer const & indexer() const override;
  using ImageView::buffer;
  void const * buffer() const override;
  size_t bufferSize() const override;
};

class WriteOnlyImageView : public RestrictedImageView {
public:
  explicit WriteOnlyImageView(std::shared_ptr<ImageView> image);
  void setProperties(std::shared_ptr<ImageProperties const> properties) override;
  void setMetadata(std::shared_ptr<MetadataNode const> metadata) override;
  void write(VectorXu64 const & index, void const * source) override;
  void writeRegion(RegionXu64 const & region, void const * source) override;
};

} // namespace zarnik
