#pragma once

#include "access/CursorStream.h"
#include "serialization/Hash.h"

#include <vector>

namespace zarnik::format {

/// Whole blocks of one size that are moved and hashed at once, by as many threads as the library may use.
struct HashedBlocks {
  uint64_t blockBytes;
  uint64_t count;

  uint64_t bytes() const { return blockBytes * count; }

  /// The hashes of blocks in memory.
  std::vector<uint64_t> hash(std::byte const * blocks) const;

  /// Copies blocks in memory around the caches. They do not overlap with where they are copied to.
  std::vector<uint64_t> copy(std::byte * destination, std::byte const * source) const;

  /// Reads blocks from an accessor that can be read by several threads.
  /// \return no hashes if not all could be read, for whatever reason
  std::vector<uint64_t> read(RandomAccess & access, uint64_t offset, std::byte * destination) const;
};

} // namespace zarnik::format
