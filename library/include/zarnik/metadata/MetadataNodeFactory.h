#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/metadata/MetadataNode.h"
#endif

#include <memory>
#include <string>

namespace zarnik {

/// Makes metadata nodes.
class ZARNIK_API MetadataNodeFactory {
public:
  /// Create a metadata node without children.
  /// \param key   The key of the node.
  /// \param value The value of the node, can be null if no value
  /// \return A new node.
  static std::shared_ptr<MetadataNode> create(std::string const & key, std::shared_ptr<VariantDataValue> value);
};

} // namespace zarnik
