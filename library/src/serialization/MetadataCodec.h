#pragma once

#include "serialization/Content.h"
#include "zarnik/metadata/MetadataNode.h"

#include <memory>

namespace zarnik::format {

/// Appends a tree: its nodes, each behind all its parents, with the positions of its children among them. A node that
/// has several parents is stored once.
void putMetadata(ContentBuilder & content, MetadataNode const & root);

/// \throws Error if the content is no tree
std::shared_ptr<MetadataNode> getMetadata(ContentReader & content);

} // namespace zarnik::format
