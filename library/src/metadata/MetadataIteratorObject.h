#pragma once

#include "metadata/MetadataChildren.h"

namespace zarnik {

/// Place of a walk over the children of one node.
class MetadataCursor {
public:
  explicit MetadataCursor(std::shared_ptr<MetadataChildren const> children);

  bool next();
  std::shared_ptr<MetadataNode> value() const;
  bool isAtEnd() const { return number_ == MetadataChildren::NONE; }
  bool operator==(MetadataCursor const & other) const {
    return number_ == other.number_ && (isAtEnd() || children_ == other.children_);
  }

private:
  std::shared_ptr<MetadataChildren const> children_;
  MetadataChildren::Number number_ = MetadataChildren::NONE;
  size_t hint_ = 0; ///< where the child probably is among the slots
};

class MetadataIteratorObject : public MetadataCursor {
public:
  using MetadataCursor::MetadataCursor;
};

class ConstMetadataIteratorObject : public MetadataCursor {
public:
  using MetadataCursor::MetadataCursor;
};

} // namespace zarnik
