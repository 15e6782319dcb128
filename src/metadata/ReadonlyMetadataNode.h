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
  /// \return A copy of the node and of all nodes below it, which may be changed.
  std::shared_ptr<MetadataNode> clone() const { return node_->clone(); }

  /// Proxy for MetadataNode::key.
  /// \return The name of the node among the children of its parent.
  std::string const & key() const { return node_->key(); }

  /// Proxy for MetadataNode::value.
  /// \return The value, or null if the node has none.
  std::shared_ptr<VariantDataValue> value() const { return node_->value(); }

  /// Proxy for MetadataNode::childCount.
  /// \return The number of direct children.
  size_t childCount() const { return node_->childCount(); }

  /// Proxy for MetadataNode::hasChild.
  /// \param key The key to look for.
  /// \return True when there is a child with the given key.
  bool hasChild(std::string const & key) const { return node_->hasChild(key); }

  /// Proxy for MetadataNode::child.
  /// \param key The key to look for.
  /// \return The child itself, not a copy.
  std::shared_ptr<MetadataNode const> child(std::string const & key) const { return node_->child(key); }

  /// Proxy for MetadataNode::toString.
  /// \return A line for the node and for each node below it.
  std::string toString() const { return node_->toString(); }

  /// Proxy for MetadataNode::begin.
  /// \return An iterator on the first child, equal to the end if there is none.
  ConstMetadataNodeIterator begin() const { return node_->cbegin(); }

  /// Proxy for MetadataNode::end.
  /// \return An iterator behind the last child.
  ConstMetadataNodeIterator end() const { return node_->cend(); }

private:
  std::shared_ptr<MetadataNode const> node_;
};

} // namespace zarnik
