#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

namespace zarnik::http {

/// Bytes of a resource from a multiple of the size of blocks on.
struct Block {
  enum class State { LOADING, READY, FAILED };

  std::unique_ptr<uint8_t[]> bytes; // while loading, its loader's alone
  State state = State::LOADING;
};

/// The blocks of one resource that are in memory or on their way, the least recently used ones dropped first. Not safe
/// for several threads: its user has the lock.
class BlockCache {
public:
  /// \param blocks how many to keep
  explicit BlockCache(size_t blocks) : most_(blocks) {}

  /// The block, ready or loading; null when there is none.
  std::shared_ptr<Block> find(uint64_t index);
  /// Announces a block that the caller will load.
  std::shared_ptr<Block> announce(uint64_t index);
  /// The block has its bytes and can be given to others.
  void complete(uint64_t index);
  /// The block that was announced will not come.
  void fail(uint64_t index);

private:
  struct Entry {
    std::shared_ptr<Block> block;
    std::list<uint64_t>::iterator use; // of blocks that are ready
  };

  size_t most_;
  std::unordered_map<uint64_t, Entry> entries_;
  std::list<uint64_t> uses_; // most recent first
};

} // namespace zarnik::http
