#include "http/BlockReader.h"

#include "http/BlockLoader.h"
#include "http/SeveralRanges.h"
#include "layout/CacheSize.h"
#include "zarnik/core/Error.h"
#include "zarnik/core/Interruption.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace zarnik::http {

namespace {

// What one round of requests is planned for; bounds the memory that the plan takes.
constexpr uint64_t BLOCKS_AT_ONCE = 8192;

constexpr std::chrono::milliseconds POLL_INTERVAL{50};

// Of a server at hand: more requests only drive each other's bytes out of the processor's cache.
constexpr size_t REQUESTS_AT_HAND = 2;

// Fewer parts are not worth a request of another kind.
constexpr size_t FEWEST_SEVERAL = 16;
// About what an answer with several parts has before each of them.
constexpr uint64_t PART_HEAD_BYTES = 160;

// Where the bytes of ranges go, each of which holds one or more of the parts; both are in order.
class PartsSink final : public ByteSink {
public:
  PartsSink(std::span<RandomAccess::ReadRequest const> parts, std::span<ByteRange const> ranges) : parts_(parts) {
    size_t part = 0;
    for (auto const & range : ranges) {
      offsets_.push_back(range.offset);
      firsts_.push_back(part);
      while (part < parts.size() && parts[part].offset < range.offset + range.size)
        ++part;
    }
    firsts_.push_back(part);
  }

  void accept(uint64_t offset, uint8_t const * bytes, size_t size) override {
    auto const range = std::upper_bound(offsets_.begin(), offsets_.end(), offset) - offsets_.begin() - 1;
    for (auto i = firsts_[static_cast<size_t>(range)]; i < firsts_[static_cast<size_t>(range) + 1]; ++i) {
      auto const & part = parts_[i];
      auto const begin = std::max<uint64_t>(offset, part.offset);
      auto const end = std::min<uint64_t>(offset + size, part.offset + part.size);
      if (begin < end)
        std::memcpy(static_cast<uint8_t *>(part.destination) + (begin - part.offset), bytes + (begin - offset),
                    static_cast<size_t>(end - begin));
    }
  }

private:
  std::span<RandomAccess::ReadRequest const> parts_;
  std::vector<uint64_t> offsets_;
  std::vector<size_t> firsts_; // of the parts of each range
};

struct FirstBytes final : ByteSink {
  explicit FirstBytes(size_t size) : bytes(std::make_unique_for_overwrite<uint8_t[]>(size)) {}
  void accept(uint64_t offset, uint8_t const * data, size_t size) override {
    std::memcpy(bytes.get() + offset, data, size);
  }
  std::unique_ptr<uint8_t[]> bytes;
};

} // namespace

void BlockReader::Copy::from(uint8_t const * blockBytes) const { std::memcpy(to, blockBytes + begin, size); }

BlockReader::BlockReader(HttpResource & resource)
    : resource_(resource), blockBytes_(resource.options().blockBytes),
      cache_(resource.options().cacheBytes / resource.options().blockBytes) {
  FirstBytes first(blockBytes_);
  resource.open(blockBytes_, first);
  if (resource.size() == 0)
    return;
  cache_.announce(0)->bytes = std::move(first.bytes);
  cache_.complete(0);
}

size_t BlockReader::sizeOf(uint64_t block) const {
  return static_cast<size_t>(std::min<uint64_t>(blockBytes_, resource_.size() - block * blockBytes_));
}

// How much is read in order before the cache is left to others: less where what is read first would be pushed out by
// what is read last anyway.
uint64_t BlockReader::muchInOrder() const {
  auto const cacheBytes = resource_.options().cacheBytes;
  return resource_.size() > cacheBytes ? cacheBytes / 16 : cacheBytes / 4;
}

// To be called with the lock. Returns how many bytes to read ahead.
uint64_t BlockReader::noteRead(uint64_t offset, uint64_t size) {
  auto const & options = resource_.options();
  auto const most = std::min(options.readAheadBytes, options.cacheBytes / 4);
  // Doubled with each read, so that only those who go on for long get much.
  auto const goesOn = offset > 0 && offset == lastEnd_;
  ahead_ = goesOn ? std::min<uint64_t>(std::max(ahead_ * 2, size), most) : 0;
  inOrder_ = goesOn ? inOrder_ + size : size;
  lastEnd_ = offset + size;
  return ahead_;
}

bool BlockReader::readFromCache(uint64_t offset, uint8_t * destination, size_t size) {
  auto const index = offset / blockBytes_;
  if ((offset + size - 1) / blockBytes_ != index)
    return false;
  std::shared_ptr<Block> block;
  {
    std::lock_guard const lock(mutex_);
    block = cache_.find(index);
    if (!block || block->state != Block::State::READY)
      return false;
    noteRead(offset, size);
  }
  ++resource_.counters().cacheHits;
  std::memcpy(destination, block->bytes.get() + offset % blockBytes_, size);
  return true;
}

void BlockReader::read(uint64_t offset, uint8_t * destination, size_t size) {
  if (size == 0 || readFromCache(offset, destination, size))
    return;
  uint64_t ahead = 0;
  bool much = false;
  {
    std::lock_guard const lock(mutex_);
    ahead = noteRead(offset, size);
    much =
        inOrder_ > size && inOrder_ > muchInOrder() && resource_.options().readAheadBytes > 0 && resource_.mayPause();
  }
  if (!much)
    endSequential();
  else if (readOn(offset, destination, size))
    return;
  readParts({{offset, destination, size}}, ahead);
}

void BlockReader::endSequential() {
  if (std::unique_lock const lock(sequentialMutex_, std::try_to_lock); lock)
    sequential_.reset();
}

// The first bytes that are in memory.
size_t BlockReader::copyPresent(uint64_t offset, uint8_t * destination, size_t size) {
  size_t done = 0;
  while (done < size) {
    auto const begin = static_cast<size_t>((offset + done) % blockBytes_);
    auto const count = std::min(size - done, blockBytes_ - begin);
    std::shared_ptr<Block> block;
    {
      std::lock_guard const lock(mutex_);
      block = cache_.find((offset + done) / blockBytes_);
      if (!block || block->state != Block::State::READY)
        break;
    }
    ++resource_.counters().cacheHits;
    std::memcpy(destination + done, block->bytes.get() + begin, count);
    done += count;
  }
  return done;
}

// Reads what follows what was read before, past the cache: much that is read in order would only push everything else
// out. \return false if another thread does so
bool BlockReader::readOn(uint64_t offset, uint8_t * destination, size_t size) {
  std::unique_lock const lock(sequentialMutex_, std::try_to_lock);
  if (!lock)
    return false;
  size_t done = 0;
  if (!sequential_ || !sequential_->goesOnAt(offset)) {
    sequential_.reset();
    done = copyPresent(offset, destination, size);
    if (done == size)
      return true;
    sequential_ = std::make_unique<SequentialReader>(resource_, offset + done);
  }
  try {
    sequential_->read(destination + done, size - done);
  } catch (...) {
    sequential_.reset();
    throw;
  }
  return true;
}

void BlockReader::readMany(std::span<RandomAccess::ReadRequest const> parts) {
  readParts(readSeveral({parts.begin(), parts.end()}), 0);
}

// Whether what is asked for is so much less than the blocks that it lies in that it is better asked for alone.
bool BlockReader::isWorthSeveral(std::span<RandomAccess::ReadRequest const> parts,
                                 std::span<ByteRange const> ranges) const {
  if (ranges.size() < FEWEST_SEVERAL)
    return false;
  uint64_t alone = ranges.size() * PART_HEAD_BYTES;
  for (auto const & range : ranges)
    alone += range.size;
  uint64_t inBlocks = 0;
  uint64_t end = 0;
  for (auto const & part : parts) {
    auto const begin = part.offset / blockBytes_ * blockBytes_;
    auto const partEnd = (part.offset + part.size + blockBytes_ - 1) / blockBytes_ * blockBytes_;
    if (partEnd <= end)
      continue;
    bool const isBridged = end > 0 && begin <= end + resource_.options().gapBytes;
    inBlocks += partEnd - (isBridged ? end : begin);
    end = partEnd;
  }
  return alone < inBlocks / 4;
}

// Reads many small parts that are far from each other by requests for several ranges, past the cache.
// \return the parts that are left: all, where that is not worth it or the server does not do it
std::vector<RandomAccess::ReadRequest> BlockReader::readSeveral(std::vector<RandomAccess::ReadRequest> parts) {
  if (parts.size() < FEWEST_SEVERAL || !resource_.takesSeveral())
    return parts;
  std::erase_if(parts, [&](auto const & part) {
    return copyPresent(part.offset, static_cast<uint8_t *>(part.destination), part.size) == part.size;
  });
  std::sort(parts.begin(), parts.end(), [](auto const & a, auto const & b) { return a.offset < b.offset; });
  std::vector<ByteRange> ranges;
  for (auto const & part : parts) {
    auto const end = part.offset + part.size;
    if (!ranges.empty() && part.offset <= ranges.back().offset + ranges.back().size + PART_HEAD_BYTES)
      ranges.back().size = std::max(ranges.back().size, end - ranges.back().offset);
    else
      ranges.push_back({part.offset, part.size});
  }
  if (!isWorthSeveral(parts, ranges))
    return parts;
  resource_.counters().cacheMisses += parts.size();
  PartsSink sink(parts, ranges);
  auto const missing = fetchSeveral(resource_, ranges, sink);
  std::erase_if(parts, [&](auto const & part) {
    auto const next = std::upper_bound(missing.begin(), missing.end(), part.offset,
                                       [](uint64_t offset, ByteRange const & range) { return offset < range.offset; });
    return next == missing.begin() || std::prev(next)->offset + std::prev(next)->size <= part.offset;
  });
  return parts;
}

void BlockReader::addCopies(RandomAccess::ReadRequest const & part, Copies & copies) const {
  auto offset = part.offset;
  auto * to = static_cast<uint8_t *>(part.destination);
  for (auto left = part.size; left > 0;) {
    auto const block = offset / blockBytes_;
    auto const begin = offset % blockBytes_;
    auto const size = std::min(left, blockBytes_ - begin);
    copies.push_back({block, begin, size, to});
    offset += size;
    to += size;
    left -= size;
  }
}

void BlockReader::readParts(std::vector<RandomAccess::ReadRequest> parts, uint64_t bytesAhead) {
  uint64_t total = 0;
  for (auto const & part : parts)
    total += std::min<uint64_t>(part.size, UINT64_MAX / 2 - std::min<uint64_t>(total, UINT64_MAX / 2));
  std::sort(parts.begin(), parts.end(), [](auto const & a, auto const & b) { return a.offset < b.offset; });

  Copies copies;
  for (size_t i = 0; i < parts.size();) {
    auto & part = parts[i];
    auto const room = BLOCKS_AT_ONCE - std::min<uint64_t>(copies.size(), BLOCKS_AT_ONCE - 1);
    auto const size = std::min<uint64_t>(part.size, room * blockBytes_ - part.offset % blockBytes_);
    addCopies({part.offset, part.destination, static_cast<size_t>(size)}, copies);
    part.offset += size;
    part.size -= size;
    part.destination = static_cast<uint8_t *>(part.destination) + size;
    if (part.size == 0)
      ++i;
    if (copies.size() >= BLOCKS_AT_ONCE || i == parts.size())
      readBlocks(std::exchange(copies, {}), total, i == parts.size() ? bytesAhead : 0);
  }
}

void BlockReader::readBlocks(Copies copies, uint64_t total, uint64_t bytesAhead) {
  // What would only push everything else out of the cache goes past it.
  bool const large = total > resource_.options().cacheBytes / 4;
  while (!copies.empty()) {
    // Of the copies of one block a whole one comes first.
    std::sort(copies.begin(), copies.end(),
              [](Copy const & a, Copy const & b) { return a.block != b.block ? a.block < b.block : a.size > b.size; });
    std::vector<Shared> present;
    std::vector<Shared> others;
    BlockLoader loader(*this, total >= layout::streamingThresholdBytes());
    {
      std::lock_guard const lock(mutex_);
      for (auto group = copies.begin(); group != copies.end();) {
        auto const block = group->block;
        auto const end = std::find_if(group, copies.end(), [&](Copy const & copy) { return copy.block != block; });
        std::span<Copy const> const wanted(group, end);
        if (auto known = cache_.find(block))
          (known->state == Block::State::READY ? present : others).push_back({std::move(known), wanted});
        else if (large && group->size == sizeOf(block))
          loader.addDirect(block, wanted);
        else
          loader.add(block, wanted);
        group = end;
      }
      if (!loader.empty() && loader.lastBlock() == copies.back().block) {
        auto const last = (resource_.size() - 1) / blockBytes_;
        auto const count = (bytesAhead + blockBytes_ - 1) / blockBytes_;
        for (auto block = loader.lastBlock() + 1; block <= last && block <= copies.back().block + count; ++block) {
          if (cache_.find(block))
            break;
          loader.add(block, {});
        }
      }
    }
    auto & counters = resource_.counters();
    counters.cacheHits += present.size();
    for (auto const & [block, wanted] : present)
      for (auto const & copy : wanted)
        copy.from(block->bytes.get());
    present.clear();
    if (auto const ranges = loader.ranges(); !ranges.empty()) {
      counters.cacheMisses += loader.wanted();
      resource_.fetch(ranges, loader, large && resource_.isAtHand() ? REQUESTS_AT_HAND : SIZE_MAX);
    }
    counters.cacheMisses += others.size();
    copies = await(others);
  }
}

// Takes what other readers have loaded, returns what they could not.
BlockReader::Copies BlockReader::await(std::vector<Shared> const & others) {
  Copies failed;
  for (auto const & [block, wanted] : others) {
    {
      std::unique_lock lock(mutex_);
      while (
          !loaded_.wait_for(lock, POLL_INTERVAL, [&shared = *block] { return shared.state != Block::State::LOADING; }))
        if (InterruptionScope::isRequested())
          throw Error(fmt::format("{}: waiting for another reader was interrupted", resource_.target().text()));
      if (block->state == Block::State::FAILED) {
        failed.insert(failed.end(), wanted.begin(), wanted.end());
        continue;
      }
    }
    for (auto const & copy : wanted)
      copy.from(block->bytes.get());
  }
  return failed;
}

} // namespace zarnik::http
