#pragma once

#include "views/GeometryHistory.h"
#include "views/StoredImageView.h"
#include "zarnik/views/SharedSamples.h"

#include <mutex>
#include <vector>

namespace zarnik {

/// An image that owns the memory of its samples, dense, the first dimension fastest. It may be read and written while
/// another thread reshapes it: each transfer sees the samples before or after.
class MemoryImageView : public StoredImageView, public SampleSharing {
public:
  MemoryImageView(VectorXu64 const & shape, DataType dataType,
                  std::shared_ptr<ImageProperties const> const & properties,
                  std::shared_ptr<MetadataNode const> const & metadata);
  ~MemoryImageView() override;

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
  SharedSamples shareSamples() const override;

private:
  struct FreeMemory {
    void operator()(std::byte * memory) const noexcept;
  };

  /// Samples and their geometry, which change together.
  struct Samples {
    explicit Samples(Indexer const & geometry);
    Indexer const & indexer; // which the image keeps: a share of the samples has a copy
    std::unique_ptr<std::byte[], FreeMemory> memory;
    // Whoever asked for buffer() may still point into it after a reshape: such memory is kept as long as the image.
    bool isHandedOut = false;
  };

  std::shared_ptr<Samples> samples() const;
  std::byte * handOut() const;

  GeometryHistory geometries_;
  std::mutex reshaping_;     // one reshape at a time
  mutable std::mutex mutex_; // of the pointer, and of what is said about the memory
  std::shared_ptr<Samples> samples_;
  std::shared_ptr<Extension> origin_;
  std::vector<std::shared_ptr<Samples>> retired_;
};

} // namespace zarnik
