#include "zarnik/metadata/MetadataNodeHelper.h"

#include "core/Guarded.h"
#include "zarnik/metadata/MetadataNodeFactory.h"

#include <fmt/format.h>
#include <vector>

namespace zarnik {

std::shared_ptr<MetadataNode> MetadataNodeFactory::create(std::string const & key,
                                                          std::shared_ptr<VariantDataValue> value) {
  return guarded([&] { return std::make_shared<MetadataNode>(key, std::move(value)); });
}

namespace {

std::vector<std::string> keysOf(std::string const & path) {
  return guarded([&] {
    std::vector<std::string> keys;
    for (size_t start = 0; start < path.size();) {
      size_t const end = std::min(path.find_first_of("/\\", start), path.size());
      if (end > start)
        keys.push_back(path.substr(start, end - start));
      start = end + 1;
    }
    return keys;
  });
}

} // namespace

std::shared_ptr<MetadataNode const> MetadataNodeHelper::getNode(std::shared_ptr<MetadataNode const> root,
                                                                std::string const & path) {
  for (auto const & key : keysOf(path)) {
    if (!root || !root->hasChild(key))
      return nullptr;
    root = root->child(key);
  }
  return root;
}

bool MetadataNodeHelper::exists(std::shared_ptr<MetadataNode const> root, std::string const & path) {
  return getNode(std::move(root), path) != nullptr;
}

std::shared_ptr<MetadataNode const> MetadataNodeHelper::createPath(std::shared_ptr<MetadataNode> origin,
                                                                   std::string const & path,
                                                                   std::shared_ptr<VariantDataValue> value) {
  if (!origin)
    throw InvalidArgument(message("metadata path '{}' needs a node to begin at", path));
  auto const keys = keysOf(path);
  if (keys.empty())
    throw InvalidArgument(message("metadata path '{}' names no node", path));
  auto parent = origin;
  size_t existing = 0;
  while (existing + 1 < keys.size() && parent->hasChild(keys[existing]))
    parent = parent->child(keys[existing++]);
  // The new branch is made on its own and attached last, so that nothing is left behind when making it fails.
  auto branch = MetadataNodeFactory::create(keys.back(), std::move(value));
  for (size_t i = keys.size() - 1; i > existing; --i) {
    auto above = MetadataNodeFactory::create(keys[i - 1], nullptr);
    above->addChild(std::move(branch));
    branch = std::move(above);
  }
  parent->addChild(std::move(branch));
  return origin;
}

} // namespace zarnik
