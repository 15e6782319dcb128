#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <vector>

namespace zarnik::benchmarks {

/// Page aligned bytes, all touched, so that no benchmark measures page faults.
class Buffer {
public:
  explicit Buffer(uint64_t bytes)
      : bytes_(static_cast<std::byte *>(::operator new (bytes + 64, std::align_val_t{4096}))) {
    for (uint64_t n = 0; n < bytes; ++n) {
      bytes_[n] = static_cast<std::byte>(n * 7);
    }
  }
  Buffer(Buffer const &) = delete;
  Buffer & operator=(Buffer const &) = delete;
  ~Buffer() { ::operator delete (bytes_, std::align_val_t{4096}); }

  std::byte * data() const { return bytes_; }

private:
  std::byte * bytes_;
};

/// Processor seconds of the calling thread, which do not count the time that other programs ran.
inline double threadSeconds() {
#if defined(CLOCK_THREAD_CPUTIME_ID)
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
#else
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
#endif
}

inline double secondsOf(auto const & work, int repeats) {
  double const start = threadSeconds();
  for (int n = 0; n < repeats; ++n) {
    work();
  }
  return (threadSeconds() - start) / repeats;
}

inline double median(std::vector<double> & values) {
  auto const middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Runs `peer` and `work` in turn and reports the medians: the time of `work`, its bytes per second and how many times
/// faster than `peer` it is, under `name`.
inline void measureBeside(benchmark::State & state, char const * name, uint64_t bytes, auto const & peer,
                          auto const & work) {
  int const repeats = static_cast<int>(std::clamp<uint64_t>((uint64_t{1} << 22) / (bytes + 1), 1, 1000));
  std::vector<double> own;
  std::vector<double> others;
  for ([[maybe_unused]] auto _ : state) {
    others.push_back(secondsOf(peer, repeats));
    own.push_back(secondsOf(work, repeats));
    state.SetIterationTime(own.back() * repeats);
  }
  double const typical = median(own);
  state.counters[name] = median(others) / typical;
  state.counters["GB/s"] = static_cast<double>(bytes) / typical / 1e9;
}

inline void measureBesideMemcpy(benchmark::State & state, uint64_t bytes, std::byte const * source,
                                std::byte * destination, auto const & work) {
  measureBeside(
      state, "of_memcpy", bytes,
      [&] {
        std::memcpy(destination, source, bytes);
        benchmark::ClobberMemory();
      },
      work);
}

inline std::string sizeName(int64_t bytes) {
  return bytes >= 1 << 20 ? std::to_string(bytes >> 20) + "MiB" : std::to_string(bytes >> 10) + "KiB";
}

} // namespace zarnik::benchmarks
