#pragma once

#include "http/BlockReader.h"

namespace zarnik::http {

/// The blocks that one reader fetches: takes their bytes as they arrive, and hands out each block when it is whole.
class BlockLoader final : public ByteSink {
public:
  /// \param isHuge  what goes right to where it is wanted is too much for the processor's caches
  BlockLoader(BlockReader & reader, bool isHuge) : reader_(reader), isHuge_(isHuge) {}
  /// Blocks that have not come are given up, so that others who wait for them try themselves.
  ~BlockLoader() override;

  BlockLoader(BlockLoader const &) = delete;
  BlockLoader & operator=(BlockLoader const &) = delete;

  /// Adds a block, behind those that were added before, to be kept and copied from. The reader is locked.
  void add(uint64_t block, std::span<BlockReader::Copy const> copies);
  /// Adds one that goes right to where the first of the copies, all of the block, wants it.
  void addDirect(uint64_t block, std::span<BlockReader::Copy const> copies);

  bool empty() const { return targets_.empty(); }
  /// How many of the blocks somebody waits for.
  size_t wanted() const;
  uint64_t lastBlock() const { return targets_.back().block; }
  /// The requests to make: blocks with small gaps between them together, within the limit of one request.
  std::vector<ByteRange> ranges() const;

  void accept(uint64_t offset, uint8_t const * bytes, size_t size) override;

private:
  struct Target {
    uint64_t block;
    std::shared_ptr<Block> kept; // null when it goes right to where it is wanted
    std::span<BlockReader::Copy const> copies;
    bool done = false;
  };

  Target * find(uint64_t block);
  uint8_t * memory(Target & target) const;
  void store(Target & target, size_t begin, uint8_t const * bytes, size_t count) const;
  void complete(Target & target);

  BlockReader & reader_;
  bool isHuge_;
  std::vector<Target> targets_; // by block
};

} // namespace zarnik::http
