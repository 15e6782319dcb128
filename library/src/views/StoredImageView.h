#pragma once

#include "zarnik/views/ImageView.h"

#include <mutex>

namespace zarnik {

/// What sources of images have in common: properties and metadata of their own. Both may be asked for and changed on
/// several threads at once.
class StoredImageView : public ImageView {
public:
  ~StoredImageView() override;
  std::shared_ptr<ImageProperties const> properties() const override;
  std::shared_ptr<MetadataNode const> metadata() const override;
  void setProperties(std::shared_ptr<ImageProperties const> properties) override;
  void setMetadata(std::shared_ptr<MetadataNode const> metadata) override;

protected:
  /// \param properties null for the default ones
  /// \throws InvalidArgument when they do not fit
  StoredImageView(VectorXu64 const & shape, DataType dataType,
                  std::shared_ptr<ImageProperties const> const & properties,
                  std::shared_ptr<MetadataNode const> const & metadata);

  /// The properties that the image has after a reshape.
  std::shared_ptr<ImageProperties const> propertiesFor(VectorXu64 const & shape, DataType dataType) const;
  void replaceProperties(std::shared_ptr<ImageProperties const> properties) noexcept;

private:
  mutable std::mutex describing_;
  std::shared_ptr<ImageProperties const> properties_;
  std::shared_ptr<MetadataNode const> metadata_;
};

/// \throws InvalidArgument when the type cannot be that of samples
DataType requireNumeric(DataType dataType);

} // namespace zarnik
