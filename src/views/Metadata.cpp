#include "views/Metadata.h"

#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/MultiImageView.h"

namespace zarnik::python {

std::shared_ptr<MetadataNode const> metadataOf(ImageView const & image) {
  auto metadata = image.metadata();
  return metadata && !image.support(ImageCapability::WRITE) ? metadata->clone() : metadata;
}

std::shared_ptr<MetadataNode const> metadataOf(MultiImageView const & set) {
  auto metadata = set.metadata();
  return metadata && !set.support(MultiImageCapability::WRITE) ? metadata->clone() : metadata;
}

} // namespace zarnik::python
