#pragma once

#include "http/BlockCache.h"
#include "http/HttpResource.h"
#include "http/SequentialReader.h"
#include "zarnik/access/RandomAccess.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace zarnik::http {

/// Reads parts of a resource through a cache of aligned blocks. Blocks that are missing are fetched in few requests,
/// each by one reader, for which the others wait. It may be used from several threads at once.
class BlockReader {
public:
  /// Opens the resource and keeps its first block.
  explicit BlockReader(HttpResource & resource);

  /// Reads one part, and what is likely to be wanted next when parts are read in order.
  void read(uint64_t offset, uint8_t * destination, size_t size);
  /// Reads several parts, in any order; all must lie within the resource.
  void readMany(std::span<RandomAccess::ReadRequest const> parts);

private:
  friend class BlockLoader;

  // A part of what is read, of one block.
  struct Copy {
    uint64_t block;
    size_t begin; // within the block
    size_t size;
    uint8_t * to;

    void from(uint8_t const * blockBytes) const;
  };
  using Copies = std::vector<Copy>;

  // Blocks that somebody has or loads, with what is to be copied of them.
  struct Shared {
    std::shared_ptr<Block> block;
    std::span<Copy const> copies;
  };

  bool readFromCache(uint64_t offset, uint8_t * destination, size_t size);
  size_t copyPresent(uint64_t offset, uint8_t * destination, size_t size);
  void endSequential();
  bool readOn(uint64_t offset, uint8_t * destination, size_t size);
  uint64_t muchInOrder() const;
  uint64_t noteRead(uint64_t offset, uint64_t size);
  bool isWorthSeveral(std::span<RandomAccess::ReadRequest const> parts, std::span<ByteRange const> ranges) const;
  std::vector<RandomAccess::ReadRequest> readSeveral(std::vector<RandomAccess::ReadRequest> parts);
  void addCopies(RandomAccess::ReadRequest const & part, Copies & copies) const;
  void readParts(std::vector<RandomAccess::ReadRequest> parts, uint64_t bytesAhead);
  void readBlocks(Copies copies, uint64_t total, uint64_t bytesAhead);
  Copies await(std::vector<Shared> const & others);
  size_t sizeOf(uint64_t block) const;

  HttpResource & resource_;
  size_t blockBytes_;

  std::mutex mutex_; // of all below
  std::condition_variable loaded_;
  BlockCache cache_;
  uint64_t lastEnd_ = 0;
  uint64_t ahead_ = 0;
  uint64_t inOrder_ = 0; // bytes read up to lastEnd_ without a jump

  std::mutex sequentialMutex_;
  std::unique_ptr<SequentialReader> sequential_; // once that is much
};

} // namespace zarnik::http
