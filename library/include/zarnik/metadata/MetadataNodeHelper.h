#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/metadata/MetadataNode.h"
#endif

#include <memory>
#include <string>

namespace zarnik {

/// Finds and creates metadata nodes by their path.
///
/// A path is the keys of the nodes below a root, which is not named itself, with separators in between. Empty keys
/// are skipped. Thus nodes whose keys are empty or hold a separator cannot be reached by a path.
class ZARNIK_API MetadataNodeHelper {
public:
  /// Get a node from its path.
  ///
  /// The separator is a slash or a backslash, the leading one can be left out:
  ///  - /MRC/ext/pixelSize
  ///  - MRC/ext/pixelSize
  ///  - \\MRC\\ext\\pixelSize
  ///  - MRC\\ext\\pixelSize
  ///
  /// are equivalent. The empty path is the root's.
  /// \warning Doesn't support wildcards or regexp.
  /// \param root The node where the path begins.
  /// \param path The keys from the root's child down to the node.
  /// \return The node, or null if there is no such node or no root.
  static std::shared_ptr<MetadataNode const> getNode(std::shared_ptr<MetadataNode const> root,
                                                     std::string const & path);

  /// Check if there is a node at the given path.
  /// \warning Doesn't support wildcards or regexp.
  /// \param root The node where the path begins.
  /// \param path The keys from the root's child down to the node, as for getNode.
  /// \return True when getNode would find a node.
  static bool exists(std::shared_ptr<MetadataNode const> root, std::string const & path);

  /// Create a node at the given path.
  ///
  /// Only missing nodes are created, those in between without a value. If the whole path exists,
  /// the last node is replaced, along with all nodes below it, by a newly created one which holds the value.
  /// \param origin The node where the path begins.
  /// \param path   The keys from the origin's child down to the node, as for getNode.
  /// \param value  The value of the last node, can be null if no value
  /// \return The origin node.
  /// \throws Error if there is no origin, or if the path has no key.
  static std::shared_ptr<MetadataNode const> createPath(std::shared_ptr<MetadataNode> origin, std::string const & path,
                                                        std::shared_ptr<VariantDataValue> value);
};

} // namespace zarnik
