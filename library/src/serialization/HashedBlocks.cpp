#include "serialization/HashedBlocks.h"

#include "layout/ThreadPool.h"

#include <atomic>

namespace zarnik::format {
namespace {

/// Calls work(first, count) for runs of blocks, on several threads if there are many. It must not throw.
template <typename Work> void forEachRun(HashedBlocks const & blocks, Work const & work) {
  auto const parts = std::min<uint64_t>(blocks.count, layout::partsFor(blocks.bytes()));
  layout::runParts(parts, [&](size_t part) {
    auto const first = blocks.count * part / parts;
    work(first, blocks.count * (part + 1) / parts - first);
  });
}

uint64_t hashOfBlock(std::byte const * block, uint64_t size) {
  RunningHash hash;
  hash.add(block, size);
  return hash.value();
}

} // namespace

std::vector<uint64_t> HashedBlocks::hash(std::byte const * blocks) const {
  std::vector<uint64_t> hashes(count);
  for (uint64_t block = 0; block != count; ++block)
    hashes[block] = hashOfBlock(blocks + block * blockBytes, blockBytes);
  return hashes;
}

std::vector<uint64_t> HashedBlocks::copy(std::byte * destination, std::byte const * source) const {
  std::vector<uint64_t> hashes(count);
  forEachRun(*this, [&](uint64_t first, uint64_t some) {
    auto const offset = first * blockBytes;
    bestHashKernels().copyBlocks(destination + offset, source + offset, blockBytes, some, hashes.data() + first);
  });
  return hashes;
}

std::vector<uint64_t> HashedBlocks::read(RandomAccess & access, uint64_t offset, std::byte * destination) const {
  std::vector<uint64_t> hashes(count);
  std::atomic<bool> isWhole = true;
  forEachRun(*this, [&](uint64_t first, uint64_t some) noexcept {
    try {
      // Hashed while it is in the cache.
      for (uint64_t block = first; isWhole && block != first + some; ++block) {
        auto * const bytes = destination + block * blockBytes;
        if (access.read(offset + block * blockBytes, bytes, blockBytes) != blockBytes)
          isWhole = false;
        hashes[block] = hashOfBlock(bytes, blockBytes);
      }
    } catch (...) {
      isWhole = false;
    }
  });
  return isWhole ? hashes : std::vector<uint64_t>();
}

} // namespace zarnik::format
