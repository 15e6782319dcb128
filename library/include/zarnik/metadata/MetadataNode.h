#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/metadata/MetadataNodeIterator.h"
#include "zarnik/metadata/VariantDataValue.h"
#endif

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace zarnik {

class DeferredMetadata;
class MetadataChildren;

/// Node of a metadata tree: a key, a value that may be absent, and children with keys of their own.
///
/// Children keep the order in which they were added and are found by their key in constant time.
/// A node may be the child of several nodes, but never one of its own descendants.
/// Trees of any depth are copied, printed and destroyed without recursion.
class ZARNIK_API MetadataNode {
public:
  /// Create a node without children.
  /// \param key   The name of the node among its parent's children; it never changes.
  /// \param value The value of the node (can be null if no value).
  MetadataNode(std::string const & key, std::shared_ptr<VariantDataValue> value);

  /// Copy a node and all nodes below it.
  ///
  /// The copy has no parent. Values never change and are shared by both trees; a node that stands at several
  /// places below the original stands, copied once, at the same places below the copy.
  /// \param other The node to copy.
  MetadataNode(MetadataNode const & other);

  /// Take over the value and the children of another node, which keeps its key and its place.
  /// \param other The node to empty.
  // Not noexcept: the other node's parent still looks it up by its key, so the key is copied.
  MetadataNode(MetadataNode && other);

#ifndef SWIG
  MetadataNode & operator=(MetadataNode const &) = delete;
  MetadataNode & operator=(MetadataNode &&) = delete;
#endif

#ifndef SWIG
  /// Create a node whose children are made when somebody first asks for one of them.
  ///
  /// Copies that are made before are deferred as well, and the function is called once for all of them, on the thread
  /// that asks first; others wait. What it throws is thrown to whoever asked, and it is called again for the next.
  /// \param key  The name of the node.
  /// \param make Returns a node that has the children, of which copies are taken; not null.
  static std::shared_ptr<MetadataNode> deferred(std::string const & key,
                                                std::function<std::shared_ptr<MetadataNode const>()> make);
#endif

  /// Release the children; those that nobody else holds are destroyed.
  ~MetadataNode();

  /// Method to clone the current node
  /// \return A copy of this node and of all nodes below it, without a parent.
  std::shared_ptr<MetadataNode> clone() const;

  /// Return the key of this node.
  /// \return The name of the node among the children of its parent.
  std::string const & key() const;

  /// Return the value of this node.
  /// \return The value, or null if the node has none.
  std::shared_ptr<VariantDataValue> value() const;

  /// Return the children's count of this node.
  /// \return The number of direct children.
  size_t childCount() const;

  /// Check if this node has a child with the given key.
  /// \param key The key to look for; it is not taken for a path.
  /// \return True when there is such a child.
  bool hasChild(std::string const & key) const;

  /// Return the child with the given key.
  /// \param key The key to look for; it is not taken for a path.
  /// \return The child itself, not a copy.
  /// \throws Error If the key is not found in the children of the current node
  std::shared_ptr<MetadataNode> child(std::string const & key);

#ifndef SWIG
  std::shared_ptr<MetadataNode const> child(std::string const & key) const;
#endif

  /// Add a child to this node, behind those it has.
  ///
  /// If there is already a child with the same key,
  /// existing child is replaced by new one, at the same place.
  /// The call is instant unless this node has a parent and the child has children: then it takes time in proportion
  /// to the nodes below the child.
  /// \param child The node to add; it is shared, not copied.
  /// \throws Error if the child is null, is this node, or has this node below it.
  void addChild(std::shared_ptr<MetadataNode> child);

  /// Remove the child with the given key.
  ///
  /// Without such a child nothing happens.
  /// \param key The key of the child to remove.
  void removeChild(std::string const & key);

  /// Return iterator on first child
  ///
  /// Children may be added, replaced and removed while iterators stand on them, see the iterator's class.
  /// \return An iterator equal to the end if there is no child.
  MetadataNodeIterator begin();

  /// Return iterator which indicates the end of children list
  /// \return An iterator behind the last child.
  MetadataNodeIterator end();

#ifndef SWIG
  ConstMetadataNodeIterator begin() const;
  ConstMetadataNodeIterator end() const;
  ConstMetadataNodeIterator cbegin() const;
  ConstMetadataNodeIterator cend() const;
#endif

  /// Return a description of this node and of all nodes below it.
  ///
  /// Each node is one line, "key" or "key = value", indented by two blanks a level. Levels below the twentieth are
  /// not indented further but show their number; of long lists the first elements and the count are shown.
  /// What is below a node that stands at several places is shown at the first of them.
  /// \return The text, the line of this node first.
  std::string toString() const;

private:
  void attach(std::shared_ptr<MetadataNode> child);
  bool reaches(MetadataNode const * node) const;
  std::shared_ptr<MetadataNode> find(std::string const & key) const;
  std::shared_ptr<MetadataChildren> const & children() const;
  void load() const;

  std::string key_;
  std::shared_ptr<VariantDataValue> value_;
  mutable std::shared_ptr<MetadataChildren> children_; ///< not to be looked at while they are deferred
  std::shared_ptr<DeferredMetadata> deferred_;
  mutable std::atomic<bool> isDeferred_{false};
  // Parents of one child may die on different threads.
  std::atomic<size_t> parentCount_{0};
};

} // namespace zarnik
