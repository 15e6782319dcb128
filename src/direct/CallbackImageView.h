#pragma once

#include "module/Reference.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/views/ImageView.h"

#include <memory>
#include <optional>
#include <string>

namespace zarnik::python {

/// An image whose regions a Python function reads: fill(origin, size, buffer), origin and size in the library's order
/// of dimensions, fills the buffer with the elements, the first dimension fastest. It is called with the interpreter's
/// lock, once for each region; what it raises becomes an Error. Another function may write regions: store(origin, size,
/// buffer). The buffers are valid during the calls only.
class CallbackImageView : public ImageView, public std::enable_shared_from_this<CallbackImageView> {
public:
  /// \param tileSize the regions that are best read as a whole, without dimensions if there are none
  /// \param store    none where the image cannot be written
  /// \param name     for people
  static std::shared_ptr<ImageView> create(VectorXu64 shape, DataType dataType, ImageType axes, VectorXu64 tileSize,
                                           KeptObject fill, std::optional<KeptObject> store, std::string name);
  ~CallbackImageView() override;

  std::shared_ptr<Extension> extension(size_t id) const override;
  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override { return shape_; }
  DataType dataType() const override { return dataType_; }
  std::shared_ptr<ImageProperties const> properties() const override { return properties_; }
  std::shared_ptr<MetadataNode const> metadata() const override { return nullptr; }
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;
  void write(VectorXu64 const & index, void const * source) override;
  void writeRegion(RegionXu64 const & region, void const * source) override;

private:
  CallbackImageView(VectorXu64 shape, DataType dataType, ImageType axes, VectorXu64 tileSize, KeptObject fill,
                    std::optional<KeptObject> store, std::string name);

  void call(KeptObject const & function, char const * verb, RegionXu64 const & region, Reference buffer) const;

  VectorXu64 shape_;
  DataType dataType_;
  std::shared_ptr<ImageProperties const> properties_;
  VectorXu64 tileSize_;
  KeptObject fill_;
  std::optional<KeptObject> store_;
  std::shared_ptr<Extension> origin_;
};

} // namespace zarnik::python
