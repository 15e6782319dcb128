#pragma once

#include "views/StoredImageView.h"
#include "zarnik/views/LodImageViewFactory.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace zarnik {

/// An image at half the resolution of another along its spatial dimensions. Blocks are computed when they are first
/// read, and kept in a temporary file.
class CoarserImageView : public StoredImageView {
public:
  /// \param finer  not null, readable
  /// \param folder where to keep the samples, empty for the usual folder of temporary files
  CoarserImageView(std::shared_ptr<ImageView> finer, LevelMethod method, std::string const & folder);
  ~CoarserImageView() override;

  std::shared_ptr<Extension> extension(size_t id) const override;
  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override;
  DataType dataType() const override;
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;

  /// Computes what nobody has read yet.
  /// \param advance told the bytes of each part
  void computeAll(std::function<void(uint64_t)> const & advance);

private:
  RegionXu64 blockAt(VectorXu64 const & place) const;
  void makeSure(RegionXu64 const & region);
  void makeSureOfBlock(VectorXu64 const & place);
  void compute(VectorXu64 const & origin, VectorXu64 const & size);

  std::shared_ptr<ImageView> finer_;
  LevelMethod method_;
  VectorXu64 steps_; // 2 along the dimensions that are halved
  std::shared_ptr<ImageView> samples_;
  VectorXu64 blocks_; // elements of a block along each dimension
  VectorXu64 grid_;   // blocks along each dimension
  std::mutex computing_;
  std::vector<bool> isThere_; // guarded by computing_
  std::shared_ptr<Extension> origin_;
};

} // namespace zarnik
