#pragma once

#include "views/RegionTransfer.h"
#include "zarnik/views/ImageView.h"

#include <mutex>

namespace zarnik {

/// Another image, one operation of which runs at a time.
class ThreadSafeImageView : public ImageView, public StridedTransfer {
public:
  explicit ThreadSafeImageView(std::shared_ptr<ImageView> image);
  ~ThreadSafeImageView() override;

  /// The image behind the lock.
  std::shared_ptr<ImageView> const & protectedImage() const { return image_; }

  std::shared_ptr<Extension> extension(size_t id) const override;
  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override;
  DataType dataType() const override;
  std::shared_ptr<ImageProperties const> properties() const override;
  std::shared_ptr<MetadataNode const> metadata() const override;
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;
  void setProperties(std::shared_ptr<ImageProperties const> properties) override;
  void setMetadata(std::shared_ptr<MetadataNode const> metadata) override;
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
  bool mayTouchSources(void const * begin, void const * end) const override;

private:
  std::shared_ptr<ImageView> image_;
  std::shared_ptr<std::recursive_mutex> mutex_; // shared with the tiling; the image may call code that asks for itself
  std::shared_ptr<Extension> origin_;
};

} // namespace zarnik
