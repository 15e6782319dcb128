#pragma once

#include "zarnik/views/ImageView.h"

#include <mutex>
#include <string>
#include <vector>

namespace zarnik {

/// A view made from others that has properties, metadata and an origin of its own. They can be changed where the view
/// can be written, by any thread.
class DescribedImageView : public ImageView {
public:
  /// What a view tells of itself. Properties and metadata are kept as they are, nobody changes them any more.
  struct Description {
    std::shared_ptr<ImageProperties const> properties;
    std::shared_ptr<MetadataNode const> metadata;
    /// What was done to the parents, such as "cropped to (3, 4)".
    std::string deed;
    std::vector<std::shared_ptr<View>> parents;
  };

  ~DescribedImageView() override;
  std::shared_ptr<Extension> extension(size_t id) const override;
  std::shared_ptr<ImageProperties const> properties() const override;
  std::shared_ptr<MetadataNode const> metadata() const override;
  void setProperties(std::shared_ptr<ImageProperties const> properties) override;
  void setMetadata(std::shared_ptr<MetadataNode const> metadata) override;

protected:
  explicit DescribedImageView(Description description);

private:
  mutable std::mutex describing_; // guards the next two
  std::shared_ptr<ImageProperties const> properties_;
  std::shared_ptr<MetadataNode const> metadata_;
  std::shared_ptr<Extension> origin_;
};

/// The properties of an image.
/// \throws InvalidArgument if the image is null
/// \throws Error if its properties are not valid
std::shared_ptr<ImageProperties const> validProperties(std::shared_ptr<ImageView> const & image);

} // namespace zarnik
