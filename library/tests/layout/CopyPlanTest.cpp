#include "layout/CopyPlan.h"

#include "core/Support.h"
#include "layout/StridedCases.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

namespace zarnik {

namespace {

using namespace test;

std::vector<std::byte> const & pattern() {
  static auto const bytes = noise(size_t{1} << 21, 7);
  return bytes;
}

testing::AssertionResult copiesLikeReference(std::vector<uint64_t> const & size, Geometry const & source,
                                             Geometry const & destination, size_t elementBytes) {
  static std::vector<std::byte> from;
  from.assign(pattern().begin(), pattern().begin() + static_cast<ptrdiff_t>(source.bytes));
  return movesLikeReference(
      from, size, source, destination,
      [&](auto * first, auto * to) { copyStrided(size, source.strides, destination.strides, elementBytes, first, to); },
      [&](auto * element, auto * to) { std::memcpy(to, element, elementBytes); });
}

// Every shape of up to `rank` extents below 6, in every order of axes, with any of them turned around.
void copyAllSmallShapes(size_t highestRank) {
  constexpr size_t elementSizes[] = {1, 2, 3, 4, 5, 6, 8, 12, 16, 24, 40};
  size_t round = 0;
  for (size_t rank = 0; rank <= highestRank; ++rank) {
    auto const shapes = static_cast<uint64_t>(std::pow(6, rank));
    for (uint64_t shape = 0; shape < shapes; ++shape) {
      std::vector<uint64_t> size(rank);
      for (uint64_t n = 0, rest = shape; n < rank; ++n, rest /= 6)
        size[n] = rest % 6;
      auto order = canonical(rank);
      do
        for (unsigned reversed = 0; reversed < 1U << rank; ++reversed) {
          ++round;
          size_t const elementBytes = elementSizes[round % std::size(elementSizes)];
          auto const source = arrange(size, order, reversed, round / 3 % 4 == 0 ? round % 5 : 0, elementBytes);
          auto const destination = arrange(size, canonical(rank), static_cast<unsigned>(round * 7 / 3),
                                           round / 5 % 4 == 0 ? round % 7 : 0, elementBytes);
          ASSERT_TRUE(copiesLikeReference(size, source, destination, elementBytes));
        }
      while (std::next_permutation(order.begin(), order.end()));
    }
  }
}

TEST(CopyPlan, AllSmallShapesOrdersAndSigns) { copyAllSmallShapes(4); }

/// Cuts copies of any size for two threads.
struct CutCopies : WithThreads {
  CutCopies() { cutForThreads(2); }
};

TEST_F(CutCopies, AllSmallShapesOrdersAndSigns) {
  // While the pool is busy with this, it is this thread that copies all pieces: no time goes in waking others.
  layout::runParts(2, [](size_t part) {
    if (part == 0)
      copyAllSmallShapes(4);
  });
}

TEST_F(CutCopies, ManyShortAxes) {
  std::mt19937_64 random(testSeed());
  for (int round = 0; round < 300; ++round) {
    size_t const elementBytes = std::vector<size_t>{1, 2, 4}[random() % 3];
    std::vector<uint64_t> size(5 + random() % 5);
    for (auto & extent : size)
      extent = round % 2 == 0 ? 4 : 1 + random() % 4;
    auto order = canonical(size.size());
    std::shuffle(order.begin(), order.end(), random);
    auto const source = arrange(size, order, static_cast<unsigned>(random() & random() & random()), 0, elementBytes);
    auto const destination = arrange(size, canonical(size.size()), 0, 0, elementBytes);
    ASSERT_TRUE(copiesLikeReference(size, source, destination, elementBytes));
  }
}

// Extents around the widths of the vector kernels and of their tiles, where both sides are dense but for a few gaps.
struct CopyKernels : EachVectorUnit {};
INSTANTIATE_TEST_SUITE_P(Units, CopyKernels, testing::ValuesIn(EachVectorUnit::all()),
                         [](auto const & unit) { return unit.param; });

TEST_P(CopyKernels, EveryKernelWidthAndTail) {
  for (size_t const elementBytes : {1, 2, 3, 4, 6, 8, 12, 16, 32, 1024})
    for (uint64_t const rows : {1, 2, 3, 4, 5, 8, 15, 16, 17, 33, 64, 65, 130})
      for (uint64_t columns = 1; columns * rows * elementBytes <= 70000 && columns <= 150;
           columns += columns < 70 ? 1 : 29)
        for (unsigned variant = 0; variant < 12; ++variant) {
          std::vector<uint64_t> const size{columns, rows};
          auto const source = arrange(size, variant % 2 == 0 ? canonical(2) : std::vector<size_t>{1, 0},
                                      variant / 2 % 4, variant == 10 ? 3 : 0, elementBytes);
          auto const destination =
              arrange(size, canonical(2), variant / 4 == 2 ? 2 : 0, variant == 11 ? 1 : 0, elementBytes);
          ASSERT_TRUE(copiesLikeReference(size, source, destination, elementBytes));
        }
}

TEST_P(CopyKernels, EveryNthElementInBothDirections) {
  for (size_t const elementBytes : {1, 2, 4, 8})
    for (uint64_t const n : {2, 3, 4, 5})
      for (uint64_t columns = 2; columns <= 300; columns += columns < 140 ? 1 : 53)
        for (bool const downwards : {false, true}) {
          std::vector<uint64_t> const size{columns, 3};
          auto const destination = arrange(size, canonical(2), 0, 0, elementBytes);
          ASSERT_TRUE(copiesLikeReference(size, everyNth(size, n, downwards, elementBytes), destination, elementBytes));
        }
}

TEST_P(CopyKernels, RandomLargeRegions) {
  std::mt19937_64 random(testSeed());
  for (int round = 0; round < 300; ++round) {
    size_t const elementBytes = std::vector<size_t>{1, 1, 2, 2, 3, 4, 4, 6, 8, 12, 16, 40, 1000}[random() % 13];
    size_t const rank = 1 + random() % 6;
    std::vector<uint64_t> size(rank, 1);
    for (uint64_t left = 400000 / elementBytes / (rank * rank); left > 1;) {
      auto const factor = std::min<uint64_t>(left, 1 + random() % 60);
      size[random() % rank] *= factor;
      left /= std::max<uint64_t>(factor, 2);
    }
    auto order = canonical(rank);
    std::shuffle(order.begin(), order.end(), random);
    auto const source =
        arrange(size, order, static_cast<unsigned>(random() & random()), random() % 4 == 0, elementBytes);
    std::shuffle(order.begin(), order.end(), random);
    auto const destination =
        arrange(size, order, static_cast<unsigned>(random() & random()), random() % 4 == 0, elementBytes);
    if (source.bytes > pattern().size())
      continue;
    ASSERT_TRUE(copiesLikeReference(size, source, destination, elementBytes));
  }
}

// Large enough to be written around the caches, with rows that begin anywhere in a cache line.
TEST_P(CopyKernels, StreamingWritesTheSame) {
  uint64_t const bytes = uint64_t{40} << 20;
  static auto const from = noise(bytes, 1);
  std::vector<std::byte> to(bytes + 2);
  for (uint64_t const e : {1, 2, 3, 4, 8, 12}) {
    uint64_t const columns = 3000, rows = bytes / (e * columns), third = rows * columns / 3;
    struct {
      std::vector<uint64_t> size, source, destination;
      uint64_t origin;
    } const cases[] = {
        {{columns, rows}, {e * rows, e}, {e, e * columns}, 0},                                              // transpose
        {{columns, rows}, {uint64_t{0} - e, e * columns}, {e, e * columns}, e * (columns - 1)},             // flip
        {{columns / 2, rows}, {uint64_t{0} - 2 * e, e * columns}, {e, e * columns / 2}, e * (columns - 2)}, // and step
        {{columns - 7, rows}, {e, e * columns}, {e, e * (columns - 7)}, 7 * e},                             // crop
        {{3, third}, {e, 3 * e}, {e * third, e}, 0}, // channels apart
        {{3, third}, {e * third, e}, {e, 3 * e}, 0}, // and together
    };
    for (auto const & c : cases) {
      to.front() = to.back() = std::byte{0x11};
      copyStrided(c.size, c.source, c.destination, e, from.data() + c.origin, to.data() + 1);
      bool same = to.front() == std::byte{0x11} && to.back() == std::byte{0x11};
      for (uint64_t n = 0; n < c.size[0] * c.size[1] && same; n += 1 + n % 89) {
        uint64_t const i = n % c.size[0], j = n / c.size[0];
        same = std::memcmp(&to[1 + i * c.destination[0] + j * c.destination[1]],
                           &from[c.origin + i * c.source[0] + j * c.source[1]], e) == 0;
      }
      ASSERT_TRUE(same) << "case " << &c - cases << " of " << e << " bytes";
    }
  }
}

TEST(CopyPlan, SourceStrideZeroRepeats) {
  std::vector<uint64_t> const size{70, 3, 20};
  for (size_t const elementBytes : {1, 2, 3, 4, 8, 16, 40})
    for (unsigned zeros = 1; zeros < 8; ++zeros) {
      auto source = arrange(size, {0, 1, 2}, 0, 0, elementBytes);
      for (size_t axis = 0; axis < 3; ++axis)
        source.strides[axis] *= ~zeros >> axis & 1;
      for (auto const & order : {std::vector<size_t>{0, 1, 2}, {2, 0, 1}})
        EXPECT_TRUE(copiesLikeReference(size, source, arrange(size, order, zeros, 0, elementBytes), elementBytes));
    }
}

TEST(CopyPlan, OverlapIsAsIfTheSourceWereReadFirst) {
  std::mt19937_64 random(testSeed());
  for (int round = 0; round < 500; ++round) {
    std::vector<uint64_t> const size{1 + random() % 20, 1 + random() % 20, 1 + random() % 3};
    size_t const elementBytes = 1 + random() % 4;
    auto source = arrange(size, random() % 2 == 0 ? std::vector<size_t>{0, 1, 2} : std::vector<size_t>{2, 1, 0},
                          static_cast<unsigned>(random() % 8), random() % 3, elementBytes);
    auto destination = arrange(size, {0, 1, 2}, static_cast<unsigned>(random() % 8), random() % 3, elementBytes);
    source.origin += random() % 50;
    destination.origin += random() % 50;
    auto buffer = noise(std::max(source.bytes, destination.bytes) + 50, static_cast<uint64_t>(round));
    auto expected = buffer;
    visitElements(size, source, destination,
                  [&](uint64_t from, uint64_t to) { std::memcpy(&expected[to], &buffer[from], elementBytes); });
    copyStrided(size, source.strides, destination.strides, elementBytes, buffer.data() + source.origin,
                buffer.data() + destination.origin);
    ASSERT_EQ(buffer, expected) << describe(size, source, destination);
  }
}

TEST(CopyPlan, MergesWhatRunsOn) {
  using Strides = std::vector<uint64_t>;
  // A contiguous volume is one run, with its axes in any order and all turned around on both sides alike.
  CopyPlan const dense(Strides{3, 5, 7}, Strides{70, 14, 2}, Strides{70, 14, 2}, 2);
  EXPECT_EQ(dense.loopCount(), 0u);
  EXPECT_EQ(dense.runBytes(), 210u);
  uint64_t const back = uint64_t{0} - 2;
  EXPECT_EQ(CopyPlan(Strides{5, 3}, Strides{back, back * 5}, Strides{back, back * 5}, 2).loopCount(), 0u);
  // A crop is one loop over rows, whatever unit dimensions stand between.
  CopyPlan const crop(Strides{4, 1, 6, 8}, Strides{1, 99, 10, 60}, Strides{1, 0, 4, 24}, 1);
  EXPECT_EQ(crop.loopCount(), 1u);
  EXPECT_EQ(crop.runBytes(), 4u);
  EXPECT_EQ(crop.byteCount(), 192u);
  std::vector<uint64_t> const ones(32, 1);
  EXPECT_EQ(CopyPlan(ones, ones, ones, 4).byteCount(), 4u);
}

TEST(CopyPlan, RefusalsNameTheValues) {
  using Strides = std::vector<uint64_t>;
  auto const refused = [](Strides const & size, Strides const & source, Strides const & destination, size_t bytes) {
    return messageOf([&] { CopyPlan(size, source, destination, bytes); });
  };
  Strides const many(CopyPlan::MAXIMUM_RANK + 1, 1);
  EXPECT_THAT(refused(many, many, many, 1), testing::HasSubstr("a region of 130 dimensions"));
  EXPECT_THAT(refused({4, 2}, {1}, {1, 4}, 1), testing::HasSubstr("1 source strides"));
  EXPECT_THAT(refused({4, 2}, {1, 4}, {1, 0}, 1), testing::HasSubstr("destination stride 0 on axis 1 of 2 elements"));
  EXPECT_EQ(refused({4}, {1}, {1}, 0), "elements of 0 bytes cannot be copied");
  uint64_t const huge = uint64_t{1} << 40;
  EXPECT_THAT(refused({huge, huge}, {0, 0}, {1, huge}, 1), testing::HasSubstr("above 2^63 elements"));
  EXPECT_THAT(refused({huge}, {0}, {1}, huge), testing::HasSubstr("above 2^63 bytes"));
  EXPECT_EQ(refused({0, 4}, {1, 1}, {0, 0}, 1), "accepted");
}

} // namespace

} // namespace zarnik
