#pragma once

#include "zarnik/views/MultiImageCapability.h"
#include "zarnik/views/View.h"

#include <cstddef>
#include <memory>
#include <string>

namespace zarnik {

#ifndef SWIG
class ImageView;
class MetadataNode;
#endif

/// An ordered set of images, its frames, with metadata of its own.
///
/// Frames are numbered from 0. They need not have the same shape or type.
/// An operation that a set does not have the capability for raises NotImplemented and changes nothing.
/// Queries may run on several threads at once, changes may not.
class ZARNIK_API MultiImageView : public View {
public:
  /// Destroy the set. Its frames live on where they are held.
  ~MultiImageView() override;

  /// Return the capabilities of this set.
  /// \return What the set can do, one flag each.
  virtual MultiImageCapabilitySet capabilities() const = 0;

  /// Checks if the set supports the given capabilities.
  /// \param capabilities The capabilities, all of which are needed.
  /// \return True when none of them is missing.
  bool support(MultiImageCapabilitySet capabilities) ZARNIK_QUERY;

  /// Return a string representation
  /// \return Number of frames and capabilities, in one line.
  std::string toString() const;

  /// Return the number of frames.
  /// \return The number, whose indices begin at 0.
  /// \throws Error if the frames cannot be counted.
  /// \throws AccessError if the data of the frames cannot be reached.
  virtual size_t frameCount() ZARNIK_QUERY = 0;

  /// Return one of the frames.
  ///
  /// Needs the capability READ.
  /// \param index Index of the frame, below the number of frames.
  /// \return The image, never null.
  /// \throws Error if the index is out of range.
  virtual std::shared_ptr<ImageView> frame(size_t index) ZARNIK_QUERY = 0;

#ifndef SWIG
  /// Return the root node of the metadata attached to this set, null when there is none.
  virtual std::shared_ptr<MetadataNode const> metadata() const = 0;
#endif

  /// Append a frame.
  ///
  /// Needs the capability WRITE. The set shares the image, it does not copy it.
  /// \param image The new last frame.
  /// \throws Error if the image is null.
  /// \throws NotImplemented If the set does not support writing.
  virtual void addFrame(std::shared_ptr<ImageView> image);

  /// Replace a frame.
  ///
  /// Needs the capability WRITE. The set shares the image, it does not copy it.
  /// \param index Index of the frame: index must already exist, no allocation.
  /// \param image The new frame.
  /// \throws Error if the index is out of range or the image is null.
  /// \throws NotImplemented If the set does not support writing.
  virtual void setFrame(size_t index, std::shared_ptr<ImageView> image);

  /// Remove a frame. Those behind it move up by one.
  ///
  /// Needs the capability WRITE.
  /// \param index Index of the frame, below the number of frames.
  /// \throws Error if the index is out of range.
  /// \throws NotImplemented If the set does not support writing.
  virtual void removeFrame(size_t index);

  /// Attach a new metadata node to the set.
  ///
  /// Needs the capability WRITE. The set keeps a copy of the whole tree.
  /// \param metadata The root node, null for no metadata.
  /// \throws NotImplemented If the set does not support writing.
#ifdef SWIG // Python has no const: readers of its messages know one kind of node
  virtual void setMetadata(std::shared_ptr<MetadataNode> metadata);
#else
  virtual void setMetadata(std::shared_ptr<MetadataNode const> metadata);
#endif

protected:
  MultiImageView() = default;
};

} // namespace zarnik
