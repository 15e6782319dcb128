#include "http/BlockLoader.h"

#include "layout/ConvertKernels.h"

#include <algorithm>
#include <cstring>
#include <mutex>

namespace zarnik::http {

BlockLoader::~BlockLoader() {
  if (isHuge_)
    layout::flushStreams();
  {
    std::lock_guard const lock(reader_.mutex_);
    for (auto const & target : targets_)
      if (target.kept && !target.done)
        reader_.cache_.fail(target.block);
  }
  reader_.loaded_.notify_all();
}

void BlockLoader::add(uint64_t block, std::span<BlockReader::Copy const> copies) {
  targets_.push_back({.block = block, .kept = nullptr, .copies = copies});
  targets_.back().kept = reader_.cache_.announce(block);
}

void BlockLoader::addDirect(uint64_t block, std::span<BlockReader::Copy const> copies) {
  targets_.push_back({.block = block, .kept = nullptr, .copies = copies});
}

size_t BlockLoader::wanted() const {
  return static_cast<size_t>(
      std::count_if(targets_.begin(), targets_.end(), [](Target const & target) { return !target.copies.empty(); }));
}

std::vector<ByteRange> BlockLoader::ranges() const {
  auto const & options = reader_.resource_.options();
  std::vector<ByteRange> ranges;
  for (auto const & target : targets_) {
    auto const begin = target.block * reader_.blockBytes_;
    auto const end = begin + reader_.sizeOf(target.block);
    if (!ranges.empty()) {
      auto & last = ranges.back();
      if (begin - (last.offset + last.size) <= options.gapBytes && end - last.offset <= options.requestBytes) {
        last.size = end - last.offset;
        continue;
      }
    }
    ranges.push_back({begin, end - begin});
  }
  return ranges;
}

BlockLoader::Target * BlockLoader::find(uint64_t block) {
  auto const found = std::lower_bound(targets_.begin(), targets_.end(), block,
                                      [](Target const & target, uint64_t wanted) { return target.block < wanted; });
  return found == targets_.end() || found->block != block ? nullptr : &*found;
}

uint8_t * BlockLoader::memory(Target & target) const {
  if (!target.kept)
    return target.copies.front().to;
  auto & bytes = target.kept->bytes;
  if (!bytes)
    bytes = std::make_unique_for_overwrite<uint8_t[]>(reader_.sizeOf(target.block));
  return bytes.get();
}

void BlockLoader::store(Target & target, size_t begin, uint8_t const * bytes, size_t count) const {
  auto * const to = memory(target) + begin;
  if (isHuge_ && !target.kept)
    layout::streamValues(reinterpret_cast<std::byte *>(to), reinterpret_cast<std::byte const *>(bytes), count);
  else
    std::memcpy(to, bytes, count);
}

void BlockLoader::accept(uint64_t offset, uint8_t const * bytes, size_t size) {
  while (size > 0) {
    auto const block = offset / reader_.blockBytes_;
    auto const begin = static_cast<size_t>(offset % reader_.blockBytes_);
    auto const count = std::min(size, reader_.sizeOf(block) - begin);
    if (auto * const target = find(block)) {
      store(*target, begin, bytes, count);
      // The bytes of a block come in order, whatever requests it took.
      if (begin + count == reader_.sizeOf(block))
        complete(*target);
    }
    offset += count;
    bytes += count;
    size -= count;
  }
}

void BlockLoader::complete(Target & target) {
  auto const * const bytes = memory(target);
  for (auto const & copy : target.copies)
    if (copy.to != bytes)
      copy.from(bytes);
  if (target.kept) {
    {
      std::lock_guard const lock(reader_.mutex_);
      reader_.cache_.complete(target.block);
    }
    reader_.loaded_.notify_all();
  }
  target.done = true;
}

} // namespace zarnik::http
