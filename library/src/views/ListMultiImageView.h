#pragma once

#include "zarnik/views/MultiImageView.h"

#include <vector>

namespace zarnik {

/// A set of images that are held in a list.
class ListMultiImageView : public MultiImageView {
public:
  /// \param frames the images, none of them null
  explicit ListMultiImageView(std::vector<std::shared_ptr<ImageView>> frames);
  ~ListMultiImageView() override;

  std::shared_ptr<Extension> extension(size_t id) const override;
  MultiImageCapabilitySet capabilities() const override;
  size_t frameCount() const override;
  std::shared_ptr<ImageView> frame(size_t index) const override;
  std::shared_ptr<MetadataNode const> metadata() const override;
  void addFrame(std::shared_ptr<ImageView> image) override;
  void setFrame(size_t index, std::shared_ptr<ImageView> image) override;
  void removeFrame(size_t index) override;
  void setMetadata(std::shared_ptr<MetadataNode const> metadata) override;

private:
  std::vector<std::shared_ptr<ImageView>> frames_;
  std::shared_ptr<MetadataNode const> metadata_;
  uint64_t uid_;
};

/// \throws InvalidArgument when the index is not below the count
void requireFrame(size_t index, size_t count);

} // namespace zarnik
