#pragma once

#ifndef SWIG
#include "zarnik/core/Error.h"
#include "zarnik/metadata/MetadataNode.h"

#include <utility>
#endif

namespace zarnik {

/// View of a metadata node that offers no way to change it.
class ReadonlyMetadataNode {
public:
  /// Create a view of a node; the node is shared, not copied.
  /// \param node The node to look at.
  /// \throws Error if there is no node
  explicit ReadonlyMetadataNode(std::shared_ptr<MetadataNode const> node) : node_(std::move(node)) {
    if (!node_)
      throw InvalidArgument("a read-only metadata node needs a node to look at");
  }

  /// Proxy for MetadataNode::clone.
  std::shared_ptr<MetadataNode> clone() const { return node_->clone(); }

  /// Proxy for MetadataNode::key.
  std::string const & key() const { return node_->key(); }

  /// Proxy for MetadataNode::value.
  std::shared_ptr<VariantDataValue> value() const { return node_->value(); }

  /// Proxy for MetadataNode::childCount.
  size_t childCount() const { return node_->childCount(); }

  /// Proxy for MetadataNode::hasChild.
  bool hasChild(std::string const & key) const { return node_->hasChild(key); }

  /// Proxy for MetadataNode::child.
  std::shared_ptr<MetadataNode const> child(std::string const & key) const { return node_->child(key); }

  /// Proxy for MetadataNode::toString.
  std::string toString() const { return node_->toString(); }

  /// Proxy for MetadataNode::begin.
  ConstMetadataNodeIterator begin() const { return node_->cbegin(); }

  /// Proxy for MetadataNode::end.
  ConstMetadataNodeIterator end() const { return node_->cend(); }

private:
  std::shared_ptr<MetadataNode const> node_;
};

} // namespace zarnik
