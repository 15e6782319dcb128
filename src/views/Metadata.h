#pragma once

#include <memory>

namespace zarnik {
class ImageView;
class MetadataNode;
} // namespace zarnik

namespace zarnik::python {

/// The metadata of an image, or null. Python does not know const: whoever gets the tree can change it. So an image
/// that does not offer WRITE hands out a copy.
std::shared_ptr<MetadataNode const> metadataOf(ImageView const & image);

} // namespace zarnik::python
