#include "metadata/MetadataChildren.h"

#include "zarnik/metadata/MetadataNode.h"

#include <algorithm>

namespace zarnik {

namespace {

// Up to this many slots comparing all keys is as fast as hashing one, and most nodes then need no index at all.
constexpr size_t UNINDEXED_SLOTS = 8;

// Removed children's slots are kept until there are as many of them as children, and this many more.
constexpr size_t SPARE_SLOTS = 16;

} // namespace

std::shared_ptr<MetadataChildren> MetadataChildren::make() {
  return std::shared_ptr<MetadataChildren>(new MetadataChildren, &MetadataChildren::destroy);
}

// Destroying children destroys their children in turn. All but the outermost call only queue theirs, so the stack
// does not grow with the depth of the tree.
void MetadataChildren::destroy(MetadataChildren * children) noexcept {
  thread_local MetadataChildren * queue = nullptr;
  thread_local bool isDraining = false;
  children->awaiting_ = queue;
  queue = children;
  if (isDraining)
    return;
  isDraining = true;
  while (queue != nullptr) {
    MetadataChildren * const current = queue;
    queue = current->awaiting_;
    delete current;
  }
  isDraining = false;
}

size_t MetadataChildren::slotOf(std::string_view key) const {
  if (!index_.empty()) {
    auto const found = index_.find(key);
    return found == index_.end() ? NO_SLOT : found->second;
  }
  for (size_t i = head_; i < slots_.size(); ++i)
    if (slots_[i].node && slots_[i].node->key() == key)
      return i;
  return NO_SLOT;
}

std::shared_ptr<MetadataNode> MetadataChildren::find(std::string_view key) const {
  size_t const slot = slotOf(key);
  return slot == NO_SLOT ? nullptr : slots_[slot].node;
}

std::shared_ptr<MetadataNode> MetadataChildren::put(std::shared_ptr<MetadataNode> child) {
  std::string_view const key = child->key();
  size_t const slot = slotOf(key);
  if (slot != NO_SLOT) {
    // The index must refer to the key of the child that stays.
    if (auto entry = index_.extract(key)) {
      entry.key() = key;
      index_.insert(std::move(entry));
    }
    return std::exchange(slots_[slot].node, std::move(child));
  }
  if (index_.empty() && slots_.size() >= UNINDEXED_SLOTS)
    buildIndex();
  slots_.push_back({next_, std::move(child)});
  try {
    if (!index_.empty())
      index_.emplace(key, slots_.size() - 1);
  } catch (...) {
    slots_.pop_back();
    throw;
  }
  ++next_;
  ++live_;
  return nullptr;
}

std::shared_ptr<MetadataNode> MetadataChildren::remove(std::string_view key) {
  size_t const slot = slotOf(key);
  if (slot == NO_SLOT)
    return nullptr;
  index_.erase(key);
  auto removed = std::move(slots_[slot].node);
  --live_;
  while (head_ < slots_.size() && !slots_[head_].node)
    ++head_;
  if (slots_.size() > 2 * live_ + SPARE_SLOTS)
    tidyUp();
  return removed;
}

void MetadataChildren::buildIndex() {
  std::unordered_map<std::string_view, size_t> index;
  index.reserve(2 * slots_.size());
  for (size_t i = 0; i < slots_.size(); ++i)
    if (slots_[i].node)
      index.emplace(slots_[i].node->key(), i);
  index_.swap(index);
}

void MetadataChildren::tidyUp() {
  std::erase_if(slots_, [](Slot const & slot) { return !slot.node; });
  head_ = 0;
  for (size_t i = 0; i < slots_.size() && !index_.empty(); ++i)
    index_.find(slots_[i].node->key())->second = i;
}

MetadataChildren::Number MetadataChildren::first() const { return live_ == 0 ? NONE : slots_[head_].number; }

size_t MetadataChildren::lowerBound(Number number, size_t hint) const {
  if (hint < slots_.size() && slots_[hint].number == number)
    return hint;
  auto const found = std::lower_bound(slots_.begin(), slots_.end(), number,
                                      [](Slot const & slot, Number wanted) { return slot.number < wanted; });
  return static_cast<size_t>(found - slots_.begin());
}

MetadataChildren::Number MetadataChildren::after(Number number, size_t & hint) const {
  size_t slot = std::max(head_, lowerBound(number, hint));
  while (slot < slots_.size() && (!slots_[slot].node || slots_[slot].number <= number))
    ++slot;
  hint = slot;
  return slot < slots_.size() ? slots_[slot].number : NONE;
}

std::shared_ptr<MetadataNode> MetadataChildren::at(Number number, size_t hint) const {
  size_t const slot = lowerBound(number, hint);
  return slot < slots_.size() && slots_[slot].number == number ? slots_[slot].node : nullptr;
}

} // namespace zarnik
