#pragma once

#include <memory>

namespace zarnik {
class ImageView;
class MetadataNode;
class MultiImageView;
} // namespace zarnik

namespace zarnik::python {

/// The metadata of a view, or null. Python does not know const: whoever gets the tree can change it. So a view that
/// does not offer WRITE hands out a copy.
std::shared_ptr<MetadataNode const> metadataOf(ImageView const & image);
std::shared_ptr<MetadataNode const> metadataOf(MultiImageView const & set);

} // namespace zarnik::python
