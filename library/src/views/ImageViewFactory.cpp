#include "zarnik/views/ImageViewFactory.h"

#include "core/Guarded.h"
#include "views/MemoryImageView.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"

namespace zarnik {

std::shared_ptr<ImageView> ImageViewFactory::allocate(VectorXu64 const & shape, DataType dataType,
                                                      std::shared_ptr<ImageProperties> properties,
                                                      std::shared_ptr<MetadataNode> metadata) {
  return guarded(
      [&] { return std::make_shared<MemoryImageView>(shape, dataType, std::move(properties), std::move(metadata)); });
}

std::shared_ptr<ImageView> ImageViewFactory::allocate(VectorXu64 const & shape, DataType dataType) {
  return allocate(shape, dataType, nullptr, nullptr);
}

} // namespace zarnik
