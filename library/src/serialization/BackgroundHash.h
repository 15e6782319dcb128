#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

namespace zarnik::format {

/// In how many bytes to hash a transfer of this size on another thread at once: in 0 if it is too small for that, or
/// no other thread is to be used. Few enough that what is kept of their blocks stays small.
uint64_t backgroundBytes(uint64_t size, uint64_t blockBytes);

/// Hashes blocks of bytes on another thread, while the calling one moves them. If no thread can be had, `take` hashes.
class BackgroundHash {
public:
  /// \param ready how many blocks are there already
  BackgroundHash(std::byte const * bytes, uint64_t blockBytes, uint64_t blocks, uint64_t ready);
  BackgroundHash(BackgroundHash const &) = delete;
  BackgroundHash & operator=(BackgroundHash const &) = delete;
  /// Stops before the next block.
  ~BackgroundHash();

  /// Tells that so many blocks are there.
  void setReady(uint64_t blocks);

  /// Waits for the hashes of all blocks, which have to be there, and appends them.
  void take(std::vector<uint64_t> & hashes);

private:
  void run();

  std::byte const * bytes_;
  uint64_t blockBytes_;
  std::vector<uint64_t> hashes_;
  std::atomic<uint64_t> ready_;
  std::atomic<bool> isStopped_ = false;
  std::thread thread_;
};

} // namespace zarnik::format
