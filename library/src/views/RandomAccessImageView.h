#pragma once

#include "views/GeometryHistory.h"
#include "views/RegionTransfer.h"
#include "views/StoredImageView.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/views/ViewDataOrigin.h"

namespace zarnik {

/// An image whose samples are the first bytes of an accessor, dense in either order of the dimensions.
///
/// A region is read by few requests, which go to the accessor as one list: parts that lie close together are read as
/// one, with what lies between them, as long as that is at most WASTE times as much. Nothing is read along by writes.
/// Whatever the size of the region, about 1 MiB of memory is used.
class RandomAccessImageView : public StoredImageView, public StridedTransfer {
public:
  /// How the image came about and what can be done with it.
  struct Kind {
    ImageCapabilitySet capabilities;
    ViewDataOrigin dataOrigin;
    std::string name;
  };

  /// \throws InvalidArgument if the accessor has too few bytes
  RandomAccessImageView(std::shared_ptr<RandomAccess> access, Indexer indexer, Kind kind,
                        std::shared_ptr<ImageProperties const> const & properties,
                        std::shared_ptr<MetadataNode const> const & metadata);
  ~RandomAccessImageView() override;

  std::shared_ptr<Extension> extension(size_t id) const override;
  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override;
  DataType dataType() const override;
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;
  void write(VectorXu64 const & index, void const * source) override;
  void writeRegion(RegionXu64 const & region, void const * source) override;
  /// The accessor gets the new size.
  void reshape(VectorXu64 const & shape, DataType dataType) override;

  void readStrided(SampleRegion const & region, ValueConversion const & conversion, void * destination,
                   SampleStrides const & strides) override;
  void writeStrided(SampleRegion const & region, ValueConversion const & conversion, void const * source,
                    SampleStrides const & strides) override;

private:
  std::shared_ptr<RandomAccess> access_;
  ImageCapabilitySet capabilities_;
  std::shared_ptr<Extension> origin_;
  GeometryHistory geometries_;
  std::mutex changing_; // reshaping, and writing of components, for which their neighbours are read
};

} // namespace zarnik
