#pragma once

#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

class MetadataNode;
class MetadataIteratorObject;
class ConstMetadataIteratorObject;

/// Walks the children of a metadata node in their order.
///
/// The children may change during the walk. A child added behind the iterator's place will be met, a child that was
/// replaced is met in its new form. After the child that the iterator stands on was removed, next() goes on with the
/// following one and value() fails until then. An iterator keeps the children alive, not the node.
class ZARNIK_API MetadataNodeIterator {
public:
  /// Create an empty iterator, which stands at the end of no children.
  MetadataNodeIterator();

  /// Create an iterator from the library's own place marker.
  /// \param object The marker, owned by the iterator from now on; null makes an empty iterator.
  explicit MetadataNodeIterator(MetadataIteratorObject * object);

  /// Copy an iterator: both stand at the same place and move on their own.
  /// \param other The iterator to copy.
  MetadataNodeIterator(MetadataNodeIterator const & other);

#ifndef SWIG
  MetadataNodeIterator & operator=(MetadataNodeIterator const & other);
  MetadataNodeIterator(MetadataNodeIterator && other) noexcept;
  MetadataNodeIterator & operator=(MetadataNodeIterator && other) noexcept;
#endif

  /// Destroy the iterator.
  ~MetadataNodeIterator();

  /// Go to the next child.
  /// \return True when the iterator stands on a child, false at the end.
  bool next();

  /// Return the child that the iterator stands on.
  /// \return The child itself, not a copy.
  /// \throws Error if the iterator is at the end, or if the child was removed.
  std::shared_ptr<MetadataNode> value() const;

  /// Check if two iterators stand at the same place.
  /// \param other The iterator to compare with.
  /// \return True on the same child of the same node, and when both are at an end.
  bool operator==(MetadataNodeIterator const & other) const;

  /// Check if two iterators stand at different places.
  /// \param other The iterator to compare with.
  /// \return True when they do; false when both are at an end.
  bool operator!=(MetadataNodeIterator const & other) const;

  /// Return the child that the iterator stands on.
  /// \return The child itself, not a copy.
  /// \throws Error if the iterator is at the end, or if the child was removed.
  std::shared_ptr<MetadataNode> operator*() const;

#ifndef SWIG
  std::shared_ptr<MetadataNode> operator->() const;

  MetadataNodeIterator & operator++();
#endif

private:
  std::unique_ptr<MetadataIteratorObject> object_;
};

/// Walks the children of a metadata node in their order, without the right to change them.
///
/// The children may change during the walk. A child added behind the iterator's place will be met, a child that was
/// replaced is met in its new form. After the child that the iterator stands on was removed, next() goes on with the
/// following one and value() fails until then. An iterator keeps the children alive, not the node.
class ZARNIK_API ConstMetadataNodeIterator {
public:
  /// Create an empty iterator, which stands at the end of no children.
  ConstMetadataNodeIterator();

  /// Create an iterator from the library's own place marker.
  /// \param object The marker, owned by the iterator from now on; null makes an empty iterator.
  explicit ConstMetadataNodeIterator(ConstMetadataIteratorObject * object);

  /// Copy an iterator: both stand at the same place and move on their own.
  /// \param other The iterator to copy.
  ConstMetadataNodeIterator(ConstMetadataNodeIterator const & other);

#ifndef SWIG
  ConstMetadataNodeIterator & operator=(ConstMetadataNodeIterator const & other);
  ConstMetadataNodeIterator(ConstMetadataNodeIterator && other) noexcept;
  ConstMetadataNodeIterator & operator=(ConstMetadataNodeIterator && other) noexcept;
#endif

  /// Destroy the iterator.
  ~ConstMetadataNodeIterator();

  /// Go to the next child.
  /// \return True when the iterator stands on a child, false at the end.
  bool next();

  /// Return the child that the iterator stands on.
  /// \return The child itself, not a copy.
  /// \throws Error if the iterator is at the end, or if the child was removed.
  std::shared_ptr<MetadataNode const> value() const;

  /// Check if two iterators stand at the same place.
  /// \param other The iterator to compare with.
  /// \return True on the same child of the same node, and when both are at an end.
  bool operator==(ConstMetadataNodeIterator const & other) const;

  /// Check if two iterators stand at different places.
  /// \param other The iterator to compare with.
  /// \return True when they do; false when both are at an end.
  bool operator!=(ConstMetadataNodeIterator const & other) const;

  /// Return the child that the iterator stands on.
  /// \return The child itself, not a copy.
  /// \throws Error if the iterator is at the end, or if the child was removed.
  std::shared_ptr<MetadataNode const> operator*() const;

#ifndef SWIG
  std::shared_ptr<MetadataNode const> operator->() const;

  ConstMetadataNodeIterator & operator++();
#endif

private:
  std::unique_ptr<ConstMetadataIteratorObject> object_;
};

} // namespace zarnik
