#pragma once

#include "zarnik/metadata/MetadataNode.h"

#include <functional>
#include <memory>
#include <mutex>

namespace zarnik {

/// A tree that is made once, for all copies of a node that have its children in common until then.
class DeferredMetadata {
public:
  using Make = std::function<std::shared_ptr<MetadataNode const>()>;

  explicit DeferredMetadata(Make make) : make_(std::move(make)) {}

  /// To be held during the calls below.
  std::mutex & mutex() { return mutex_; }

  /// \throws InvalidArgument if there is none, and whatever making it throws
  MetadataNode const & tree();

private:
  std::mutex mutex_;
  Make make_;
  std::shared_ptr<MetadataNode const> made_;
};

} // namespace zarnik
