#pragma once

#include "layout/ThreadPool.h"
#include "zarnik/layout/Threads.h"
#include "zarnik/layout/VectorUnit.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace zarnik::test {

/// Where the elements of a region lie in a buffer of `bytes` bytes, of which the first element is at `origin`.
struct Geometry {
  std::vector<uint64_t> strides;
  uint64_t origin = 0;
  uint64_t bytes = 0;
};

/// The axes in the order of the index.
inline std::vector<size_t> canonical(size_t rank) {
  std::vector<size_t> order(rank);
  std::iota(order.begin(), order.end(), size_t{0});
  return order;
}

/// Lays a region out with the axes in `order` (fastest first), bit n of `reversed` turning axis n around, and `gap`
/// bytes after each run along each axis.
inline Geometry arrange(std::vector<uint64_t> const & size, std::vector<size_t> const & order, unsigned reversed,
                        uint64_t gap, size_t elementBytes) {
  Geometry result;
  result.strides.resize(size.size());
  uint64_t step = elementBytes + gap;
  for (size_t const axis : order) {
    result.strides[axis] = step;
    step = step * (size[axis] == 0 ? 1 : size[axis]) + gap;
    if ((reversed >> axis & 1) != 0 && size[axis] > 0) {
      result.origin += (size[axis] - 1) * result.strides[axis];
      result.strides[axis] = uint64_t{0} - result.strides[axis];
    }
  }
  result.bytes = step;
  return result;
}

/// Rows of every nth element of a buffer that ends with the last of them; `downwards` takes each row from its end.
inline Geometry everyNth(std::vector<uint64_t> const & size, uint64_t n, bool downwards, size_t elementBytes) {
  uint64_t const step = n * elementBytes, row = size[0] * step;
  return {
      {downwards ? uint64_t{0} - step : step, row}, downwards ? row - step : 0, size[1] * row - (n - 1) * elementBytes};
}

/// Calls `visit(sourceOffset, destinationOffset)` for every element, in index order: the reference.
template <typename Visit> void visitElements(std::vector<uint64_t> const & size, Geometry const & source,
                                             Geometry const & destination, Visit const & visit, size_t axis = 0,
                                             uint64_t from = 0, uint64_t to = 0) {
  if (axis == size.size()) {
    visit(source.origin + from, destination.origin + to);
    return;
  }
  for (uint64_t i = 0; i < size[axis]; ++i)
    visitElements(size, source, destination, visit, axis + 1, from + i * source.strides[axis],
                  to + i * destination.strides[axis]);
}

/// The seed of the random tests, printed with each failure; set ZARNIK_TEST_SEED to repeat one.
inline uint64_t testSeed() {
  static uint64_t const seed = [] {
    char const * text = std::getenv("ZARNIK_TEST_SEED");
    return text != nullptr ? std::strtoull(text, nullptr, 10) : std::random_device{}();
  }();
  return seed;
}

inline std::string describe(std::vector<uint64_t> const & size, Geometry const & source, Geometry const & destination) {
  auto const asSigned = [](std::vector<uint64_t> const & values) {
    return std::vector<int64_t>(values.begin(), values.end());
  };
  return fmt::format("size {} source {} destination {} seed {}", size, asSigned(source.strides),
                     asSigned(destination.strides), testSeed());
}

/// Runs `move(source, destination)` and, for every element, the reference `moveOne(source, destination)`, on buffers
/// that end where the last element does, and compares all bytes: those between the elements must keep what they held.
template <typename Move, typename MoveOne>
testing::AssertionResult movesLikeReference(std::vector<std::byte> const & from, std::vector<uint64_t> const & size,
                                            Geometry const & source, Geometry const & destination, Move const & move,
                                            MoveOne const & moveOne) {
  static std::vector<std::byte> expected, actual;
  expected.assign(destination.bytes, std::byte{0xa5});
  actual = expected;
  visitElements(size, source, destination,
                [&](uint64_t fromOffset, uint64_t toOffset) { moveOne(&from[fromOffset], &expected[toOffset]); });
  move(from.data() + source.origin, actual.data() + destination.origin);
  if (actual == expected)
    return testing::AssertionSuccess();
  return testing::AssertionFailure() << describe(size, source, destination);
}

inline std::vector<std::byte> noise(size_t bytes, uint64_t seed) {
  std::mt19937_64 random(seed);
  std::vector<std::byte> result(bytes);
  for (auto & byte : result)
    byte = static_cast<std::byte>(random());
  return result;
}

/// Runs a test once per vector unit of this machine, and once with the plain loops.
struct EachVectorUnit : testing::TestWithParam<std::string> {
  void SetUp() override { useVectorUnit(GetParam()); }
  void TearDown() override { useVectorUnit(""); }

  static std::vector<std::string> all() {
    auto names = vectorUnits();
    names.emplace_back("portable");
    return names;
  }
};

/// Changes how many threads there are, and from which size on they are used, for one test.
struct WithThreads : testing::Test {
  size_t const before = threadCount();
  static void cutForThreads(size_t count) {
    layout::setParallelBytes(1);
    setThreadCount(count);
  }
  ~WithThreads() override {
    layout::setParallelBytes(layout::USUAL_PARALLEL_BYTES);
    setThreadCount(before);
  }
};

} // namespace zarnik::test
