#include "http/BlockCache.h"

namespace zarnik::http {

std::shared_ptr<Block> BlockCache::find(uint64_t index) {
  auto const found = entries_.find(index);
  if (found == entries_.end())
    return nullptr;
  auto & entry = found->second;
  if (entry.block->state == Block::State::READY)
    uses_.splice(uses_.begin(), uses_, entry.use);
  return entry.block;
}

std::shared_ptr<Block> BlockCache::announce(uint64_t index) {
  auto block = std::make_shared<Block>();
  entries_.insert_or_assign(index, Entry{block, uses_.end()});
  return block;
}

void BlockCache::complete(uint64_t index) {
  auto & entry = entries_.at(index);
  // Failing here would leave the others waiting, so what can fail comes first.
  uses_.push_front(index);
  entry.use = uses_.begin();
  entry.block->state = Block::State::READY;
  while (uses_.size() > most_) {
    entries_.erase(uses_.back());
    uses_.pop_back();
  }
}

void BlockCache::fail(uint64_t index) {
  auto const found = entries_.find(index);
  if (found == entries_.end() || found->second.block->state != Block::State::LOADING)
    return;
  found->second.block->state = Block::State::FAILED;
  entries_.erase(found);
}

} // namespace zarnik::http
