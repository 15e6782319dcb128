#include "zarnik/metadata/MetadataNode.h"

#include "core/Guarded.h"
#include "core/Waiting.h"
#include "metadata/DeferredMetadata.h"
#include "metadata/MetadataChildren.h"
#include "metadata/MetadataIteratorObject.h"
#include "metadata/ValueDescription.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zarnik {

namespace {

std::string printableKey(std::string const & key) {
  bool const hasControl = std::any_of(key.begin(), key.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; });
  return hasControl ? fmt::format("{:?}", key) : key;
}

} // namespace

MetadataNode::MetadataNode(std::string const & key, std::shared_ptr<VariantDataValue> value)
    : key_(guarded([&] { return key; })), value_(std::move(value)) {}

MetadataNode::MetadataNode(MetadataNode const & other) : MetadataNode(other.key_, other.value_) {
  if (other.isDeferred_.load(std::memory_order_acquire)) {
    deferred_ = other.deferred_;
    isDeferred_ = true;
    return;
  }
  guarded([&] {
    std::vector<std::pair<MetadataNode const *, MetadataNode *>> pending{{&other, this}};
    std::unordered_map<MetadataNode const *, std::shared_ptr<MetadataNode>> copiesOfShared;
    while (!pending.empty()) {
      auto const * const source = pending.back().first;
      auto * const target = pending.back().second;
      pending.pop_back();
      if (!source->children())
        continue;
      source->children()->forEach([&](std::shared_ptr<MetadataNode> const & child) {
        bool const isShared = child->parentCount_ > 1;
        if (auto const known = copiesOfShared.find(child.get()); isShared && known != copiesOfShared.end()) {
          target->attach(known->second);
          return;
        }
        auto copy = std::make_shared<MetadataNode>(child->key_, child->value_);
        target->attach(copy);
        pending.emplace_back(child.get(), copy.get());
        if (isShared)
          copiesOfShared.emplace(child.get(), std::move(copy));
      });
    }
  });
}

MetadataNode::MetadataNode(MetadataNode && other)
    // NOLINTNEXTLINE(performance-move-constructor-init): the key stays with the other node
    : key_(guarded([&] { return other.key_; })), value_(std::move(other.value_)), children_(std::move(other.children_)),
      deferred_(std::move(other.deferred_)), isDeferred_(other.isDeferred_.exchange(false)) {}

std::shared_ptr<MetadataNode> MetadataNode::deferred(std::string const & key, DeferredMetadata::Make make) {
  return guarded([&] {
    auto node = std::make_shared<MetadataNode>(key, nullptr);
    node->deferred_ = std::make_shared<DeferredMetadata>(std::move(make));
    node->isDeferred_ = true;
    return node;
  });
}

MetadataNode const & DeferredMetadata::tree() {
  if (!made_) {
    made_ = make_();
    if (!made_)
      throw InvalidArgument("deferred metadata became no node");
    // What it was made from may be large.
    make_ = nullptr;
  }
  return *made_;
}

void MetadataNode::load() const {
  // Making the tree may be up to the program.
  Turn<std::mutex> const turn(deferred_->mutex());
  if (!isDeferred_.load(std::memory_order_relaxed))
    return;
  MetadataNode copy(deferred_->tree());
  children_ = copy.children();
  copy.children_ = nullptr;
  isDeferred_.store(false, std::memory_order_release);
}

std::shared_ptr<MetadataChildren> const & MetadataNode::children() const {
  if (isDeferred_.load(std::memory_order_acquire))
    load();
  return children_;
}

MetadataNode::~MetadataNode() {
  if (children_)
    children_->forEach([](std::shared_ptr<MetadataNode> const & child) { --child->parentCount_; });
}

std::shared_ptr<MetadataNode> MetadataNode::clone() const {
  return guarded([&] { return std::make_shared<MetadataNode>(*this); });
}

std::string const & MetadataNode::key() const { return key_; }

std::shared_ptr<VariantDataValue> MetadataNode::value() const { return value_; }

size_t MetadataNode::childCount() const {
  auto const & own = children();
  return own ? own->count() : 0;
}

bool MetadataNode::hasChild(std::string const & key) const {
  auto const & own = children();
  return own && own->find(key);
}

std::shared_ptr<MetadataNode> MetadataNode::find(std::string const & key) const {
  auto const & own = children();
  auto found = own ? own->find(key) : nullptr;
  if (!found)
    throw InvalidArgument(message("metadata node '{}' has no child '{}' among its {}", key_, key, childCount()));
  return found;
}

std::shared_ptr<MetadataNode> MetadataNode::child(std::string const & key) { return find(key); }

std::shared_ptr<MetadataNode const> MetadataNode::child(std::string const & key) const { return find(key); }

/// Whether the node is this one or stands anywhere below it.
bool MetadataNode::reaches(MetadataNode const * node) const {
  return guarded([&] {
    std::vector<MetadataNode const *> pending{this};
    std::unordered_set<MetadataNode const *> seenShared;
    while (!pending.empty()) {
      auto const * const current = pending.back();
      pending.pop_back();
      if (current == node)
        return true;
      if (current->children() && (current->parentCount_ < 2 || seenShared.insert(current).second))
        current->children()->forEach(
            [&](std::shared_ptr<MetadataNode> const & child) { pending.push_back(child.get()); });
    }
    return false;
  });
}

void MetadataNode::addChild(std::shared_ptr<MetadataNode> child) {
  if (!child)
    throw InvalidArgument(message("cannot add an empty child to metadata node '{}'", key_));
  // A node without a parent is below no other node, so there is nothing to search through.
  bool const isAncestor = child.get() == this || (parentCount_ > 0 && child->reaches(this));
  if (isAncestor) {
    throw InvalidArgument(
        message("metadata node '{}' cannot become a child of '{}', which is the same node or stands below it",
                child->key_, key_));
  }
  attach(std::move(child));
}

void MetadataNode::attach(std::shared_ptr<MetadataNode> child) {
  guarded([&] {
    if (!children())
      children_ = MetadataChildren::make();
    auto * const added = child.get();
    auto const replaced = children_->put(std::move(child));
    ++added->parentCount_;
    if (replaced)
      --replaced->parentCount_;
  });
}

void MetadataNode::removeChild(std::string const & key) {
  if (!children())
    return;
  if (auto const removed = children_->remove(key))
    --removed->parentCount_;
}

MetadataNodeIterator MetadataNode::begin() {
  return guarded([&] { return MetadataNodeIterator(new MetadataIteratorObject(children())); });
}

MetadataNodeIterator MetadataNode::end() { return MetadataNodeIterator(); }

ConstMetadataNodeIterator MetadataNode::begin() const { return cbegin(); }

ConstMetadataNodeIterator MetadataNode::end() const { return cend(); }

ConstMetadataNodeIterator MetadataNode::cbegin() const {
  return guarded([&] { return ConstMetadataNodeIterator(new ConstMetadataIteratorObject(children())); });
}

ConstMetadataNodeIterator MetadataNode::cend() const { return ConstMetadataNodeIterator(); }

std::string MetadataNode::toString() const {
  return guarded([&] {
    constexpr size_t indentedLevels = 20;
    fmt::memory_buffer text;
    auto out = std::back_inserter(text);
    std::vector<std::pair<MetadataNode const *, size_t>> pending{{this, 0}};
    // What stands below a node that several share is told once: spelled out for each, it can grow with every level.
    std::unordered_set<MetadataNode const *> told;
    while (!pending.empty()) {
      auto const * const node = pending.back().first;
      size_t const level = pending.back().second;
      pending.pop_back();
      if (level > 0)
        fmt::format_to(out, "\n{:{}}", "", 2 * std::min(level, indentedLevels));
      if (level > indentedLevels)
        fmt::format_to(out, "({}) ", level);
      fmt::format_to(out, "{}", printableKey(node->key_));
      if (node->value_)
        fmt::format_to(out, " = {}", describeValue(*node->value_));
      if (node->childCount() == 0)
        continue;
      if (node->parentCount_ > 1 && !told.insert(node).second) {
        fmt::format_to(out, " (its {} children are above)", node->childCount());
        continue;
      }
      node->children_->forEachReversed(
          [&](std::shared_ptr<MetadataNode> const & child) { pending.emplace_back(child.get(), level + 1); });
    }
    return fmt::to_string(text);
  });
}

} // namespace zarnik
