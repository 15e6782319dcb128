#include "serialization/BackgroundHash.h"

#include "serialization/Hash.h"
#include "zarnik/layout/Threads.h"

#include <algorithm>
#include <system_error>

namespace zarnik::format {
namespace {

// A thread begins in less time than this takes to hash.
constexpr uint64_t LEAST_BYTES = 8 << 20;
constexpr uint64_t MOST_BYTES = 64 << 20;

} // namespace

uint64_t backgroundBytes(uint64_t size, uint64_t blockBytes) {
  if (size < LEAST_BYTES || threadCount() == 1)
    return 0;
  return std::min(size, MOST_BYTES) / blockBytes * blockBytes;
}

BackgroundHash::BackgroundHash(std::byte const * bytes, uint64_t blockBytes, uint64_t blocks, uint64_t ready)
    : bytes_(bytes), blockBytes_(blockBytes), hashes_(blocks), ready_(ready) {
  try {
    thread_ = std::thread([this] { run(); });
  } catch (std::system_error const &) {
    return;
  }
}

BackgroundHash::~BackgroundHash() {
  if (!thread_.joinable())
    return;
  isStopped_ = true;
  setReady(hashes_.size());
  thread_.join();
}

void BackgroundHash::setReady(uint64_t blocks) {
  ready_ = blocks;
  ready_.notify_one();
}

void BackgroundHash::take(std::vector<uint64_t> & hashes) {
  if (thread_.joinable())
    thread_.join();
  else
    run();
  hashes.insert(hashes.end(), hashes_.begin(), hashes_.end());
}

void BackgroundHash::run() {
  RunningHash hash;
  for (uint64_t block = 0; block != hashes_.size(); ++block) {
    for (auto ready = ready_.load(); ready <= block; ready = ready_.load())
      ready_.wait(ready);
    if (isStopped_)
      return;
    hash.restart();
    hash.add(bytes_ + block * blockBytes_, blockBytes_);
    hashes_[block] = hash.value();
  }
}

} // namespace zarnik::format
