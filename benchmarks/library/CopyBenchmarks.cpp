// Strided copies beside memcpy. Each benchmark alternates between the copy and a memcpy of the same bytes between the
// same kind of buffers, so that what else runs on the machine hits both alike, and prints the ratio of the medians:
// "of_memcpy" 1.0 is the speed of memcpy. Bytes are those written.

#include "Ratio.h"
#include "layout/CopyPlan.h"

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zarnik;
using zarnik::benchmarks::Buffer;
using Strides = std::vector<uint64_t>;

// Bytes moved by each benchmark: in the cache, around it, far out of it.
constexpr int64_t SIZES[] = {256 << 10, 8 << 20, 256 << 20};

// Sides of a square picture and of a cube of about `bytes` bytes, just below the powers of two.
uint64_t sideOf(int64_t bytes, uint64_t elementBytes) {
  return static_cast<uint64_t>(std::sqrt(static_cast<double>(bytes) / static_cast<double>(elementBytes))) - 5;
}

uint64_t edgeOf(int64_t bytes, uint64_t elementBytes) {
  return static_cast<uint64_t>(std::cbrt(static_cast<double>(bytes) / static_cast<double>(elementBytes))) - 1;
}

void measure(benchmark::State & state, CopyPlan const & plan, uint64_t sourceBytes, uint64_t sourceStart = 0) {
  Buffer const source(sourceBytes);
  Buffer const destination(plan.byteCount());
  benchmarks::measureBesideMemcpy(state, plan.byteCount(), source.data(), destination.data(),
                                  [&] { plan.run(source.data() + sourceStart, destination.data()); });
}

void contiguous(benchmark::State & state, uint64_t e) {
  uint64_t const n = sideOf(state.range(0), e);
  measure(state, CopyPlan(Strides{n, n}, Strides{e, e * n}, Strides{e, e * n}, e), n * n * e);
}

void crop(benchmark::State & state, uint64_t e) {
  uint64_t const n = sideOf(state.range(0) / 3 * 4, e);
  uint64_t const width = n * 3 / 4;
  measure(state, CopyPlan(Strides{width, n}, Strides{e, e * n}, Strides{e, e * width}, e), n * n * e);
}

void transpose(benchmark::State & state, uint64_t e) {
  uint64_t const n = sideOf(state.range(0), e);
  measure(state, CopyPlan(Strides{n, n}, Strides{e * n, e}, Strides{e, e * n}, e), n * n * e);
}

void transposePowerOfTwo(benchmark::State & state, uint64_t e) {
  auto const n = static_cast<uint64_t>(state.range(0)) / (e * 4096);
  measure(state, CopyPlan(Strides{n, 4096}, Strides{e * 4096, e}, Strides{e, e * n}, e), n * 4096 * e);
}

void reverseAxes(benchmark::State & state, uint64_t e) {
  uint64_t const n = edgeOf(state.range(0), e);
  measure(state, CopyPlan(Strides{n, n, n}, Strides{e * n * n, e * n, e}, Strides{e, e * n, e * n * n}, e),
          n * n * n * e);
}

void rotate(benchmark::State & state, uint64_t e) {
  uint64_t const n = sideOf(state.range(0), e);
  measure(state, CopyPlan(Strides{n, n}, Strides{uint64_t{0} - e * n, e}, Strides{e, e * n}, e), n * n * e,
          (n - 1) * n * e);
}

void toPlanar(benchmark::State & state, uint64_t e, uint64_t channels) {
  auto const n = static_cast<uint64_t>(state.range(0)) / (e * channels);
  measure(state, CopyPlan(Strides{channels, n}, Strides{e, e * channels}, Strides{e * n, e}, e), n * channels * e);
}

void toInterleaved(benchmark::State & state, uint64_t e, uint64_t channels) {
  auto const n = static_cast<uint64_t>(state.range(0)) / (e * channels);
  measure(state, CopyPlan(Strides{channels, n}, Strides{e * n, e}, Strides{e, e * channels}, e), n * channels * e);
}

void channel(benchmark::State & state, uint64_t e, uint64_t channels) {
  auto const n = static_cast<uint64_t>(state.range(0)) / e;
  measure(state, CopyPlan(Strides{n}, Strides{e * channels}, Strides{e}, e), n * channels * e, e);
}

void flip(benchmark::State & state, uint64_t e) {
  uint64_t const n = sideOf(state.range(0), e);
  measure(state, CopyPlan(Strides{n, n}, Strides{uint64_t{0} - e, e * n}, Strides{e, e * n}, e), n * n * e,
          (n - 1) * e);
}

void plan(benchmark::State & state) {
  Strides const size{50, 40, 30, 20, 10};
  Strides const source{2, 120, 6000, 4, 7000000};
  Strides const destination{2, 100, 4000, 120000, 2400000};
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(CopyPlan(size, source, destination, 2));
  }
}
BENCHMARK(plan);

int const registered = [] {
  struct Type {
    char const * name;
    uint64_t bytes;
  };
  constexpr Type types[] = {{"u8", 1}, {"u16", 2}, {"f32", 4}, {"f64", 8}, {"Vector3u8", 3}};
  auto const add = [](std::string const & name, auto const & function, auto... arguments) {
    for (int64_t const bytes : SIZES) {
      benchmark::RegisterBenchmark((name + "/" + benchmarks::sizeName(bytes)).c_str(), function, arguments...)
          ->Arg(bytes)
          ->UseManualTime();
    }
  };
  for (auto const & [name, function] :
       {std::pair<char const *, void (*)(benchmark::State &, uint64_t)>{"contiguous", contiguous},
        {"crop", crop},
        {"transpose", transpose},
        {"transpose_4096", transposePowerOfTwo},
        {"reverse_axes", reverseAxes},
        {"rotate", rotate},
        {"flip", flip}}) {
    for (auto const & type : types) {
      add(std::string(name) + "/" + type.name, function, type.bytes);
    }
  }
  for (auto const & [name, function] :
       {std::pair<char const *, void (*)(benchmark::State &, uint64_t, uint64_t)>{"to_planar", toPlanar},
        {"to_interleaved", toInterleaved},
        {"channel", channel}}) {
    for (auto const & type : {types[0], types[1], types[2], types[3]}) {
      for (uint64_t const channels : {2, 3, 4}) {
        add(std::string(name) + std::to_string(channels) + "/" + type.name, function, type.bytes, channels);
      }
    }
  }
  return 0;
}();

} // namespace
