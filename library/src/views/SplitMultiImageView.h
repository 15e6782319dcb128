#pragma once

#include "zarnik/views/MultiImageView.h"

#include <functional>
#include <string>

namespace zarnik {

/// A set whose frames are views of one image, made when they are asked for.
class SplitMultiImageView : public MultiImageView {
public:
  using MakeFrame = std::function<std::shared_ptr<ImageView>(size_t index)>;

  /// \param image not null
  /// \param name how the set came about, for people
  SplitMultiImageView(std::shared_ptr<ImageView> image, size_t frameCount, MakeFrame makeFrame, std::string name);
  ~SplitMultiImageView() override;

  std::shared_ptr<Extension> extension(size_t id) const override;
  MultiImageCapabilitySet capabilities() const override;
  size_t frameCount() const override;
  std::shared_ptr<ImageView> frame(size_t index) const override;
  std::shared_ptr<MetadataNode const> metadata() const override;

private:
  std::shared_ptr<ImageView> image_;
  size_t frameCount_;
  MakeFrame makeFrame_;
  std::shared_ptr<Extension> origin_;
};

} // namespace zarnik
