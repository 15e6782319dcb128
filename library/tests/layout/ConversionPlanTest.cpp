#include "layout/ConversionPlan.h"

#include "layout/StridedCases.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <span>
#include <sys/mman.h>
#include <tuple>
#include <utility>

namespace zarnik {

namespace {

using namespace test;
using Scalars = std::tuple<uint8_t, int8_t, uint16_t, int16_t, uint32_t, int32_t, uint64_t, int64_t, float, double>;
constexpr size_t SCALAR_COUNT = std::tuple_size_v<Scalars>;
static_assert(std::numeric_limits<long double>::digits >= 64, "the reference holds every value of every type");

// Every value of the ten types is a long double, so that each rounding of the reference is the only one.
template <typename To> To reference(long double value) {
  if constexpr (std::is_floating_point_v<To>) {
    return static_cast<To>(value);
  } else if (std::isnan(value)) {
    return 0;
  } else {
    long double const rounded = std::nearbyint(value);
    if (rounded <= static_cast<long double>(std::numeric_limits<To>::min()))
      return std::numeric_limits<To>::min();
    if (rounded >= static_cast<long double>(std::numeric_limits<To>::max()))
      return std::numeric_limits<To>::max();
    return static_cast<To>(rounded);
  }
}

// Values around everything that matters to any pair: limits, powers of two, ties, what is not finite; then noise.
template <typename T> std::vector<T> interestingValues() {
  std::vector<T> values;
  if constexpr (std::is_floating_point_v<T>) {
    for (int power = -3; power <= 66; ++power) {
      T const base = std::ldexp(T(1), power);
      for (T const near : {base, std::nextafter(base, T(0)), std::nextafter(base, base * 2), base - T(0.5),
                           base + T(0.5), base - 1, base + 1, base - T(1.5), base + T(1.5)}) {
        values.push_back(near);
        values.push_back(-near);
      }
    }
    using Limits = std::numeric_limits<T>;
    for (T const special : {T(0), T(-0.0), Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(),
                            -Limits::quiet_NaN(), Limits::max(), Limits::lowest(), Limits::min(), Limits::denorm_min()})
      values.push_back(special);
    if constexpr (sizeof(T) == 8) {
      // Around float's largest value, and ties between two floats.
      for (double const value : {3.4028234663852886e38, 3.4028235677973366e38, 3.4028235677973362e38, 1.0 + 0x1p-24,
                                 1.0 + 0x3p-24, 0x1p-149, 0x1p-150, 0x1.8p-149}) {
        values.push_back(value);
        values.push_back(-value);
      }
    }
  } else {
    for (int power = 0; power < 64; ++power) {
      for (int near = -3; near <= 3; ++near) {
        uint64_t const value = (uint64_t{1} << power) + static_cast<uint64_t>(static_cast<int64_t>(near));
        values.push_back(static_cast<T>(value));
        values.push_back(static_cast<T>(uint64_t{0} - value));
        values.push_back(static_cast<T>(value * 0x1000003)); // ties and near ties of conversions to float
      }
    }
  }
  std::mt19937_64 random(testSeed());
  for (int n = 0; n < 3000; ++n) {
    uint64_t const bits = random() >> random() % 64;
    T value;
    std::memcpy(&value, &bits, sizeof value);
    values.push_back(value);
  }
  return values;
}

template <typename T> bool sameValue(T a, T b) {
  if constexpr (std::is_floating_point_v<T>)
    return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
  else
    return a == b;
}

// Converts values of which each is `step` behind the one before.
template <typename From, typename To> void convertRow(ScalarType fromType, ScalarType toType,
                                                      std::optional<LinearMap> map, size_t count, int step,
                                                      From const * from, To * to) {
  convertStrided(std::array{uint64_t{count}}, std::array{static_cast<uint64_t>(step * int64_t{sizeof(From)})},
                 std::array{uint64_t{sizeof(To)}}, fromType, toType, from, to, map);
}

template <typename From, typename To>
void checkPair(ScalarType fromType, ScalarType toType, std::optional<LinearMap> map) {
  SCOPED_TRACE(fmt::format("from type {} to {}", static_cast<int>(fromType), static_cast<int>(toType)));
  auto const values = interestingValues<From>();
  std::vector<To> results(values.size());
  convertRow(fromType, toType, map, values.size(), 1, values.data(), results.data());
  for (size_t n = 0; n < values.size(); ++n) {
    long double expected = values[n];
    if (map) {
      double const volatile product = static_cast<double>(values[n]) * map->scale; // rounded before the sum
      expected = product + map->offset;
    }
    ASSERT_TRUE(sameValue(results[n], reference<To>(expected)))
        << fmt::format("{} became {}, not {}", values[n], results[n], reference<To>(expected));
  }
  // Few of them, which do not fill a vector, at any alignment, apart, or the other way round, must become the same, and
  // nothing around them changes.
  std::vector<size_t> counts(71);
  std::iota(counts.begin(), counts.end(), size_t{0});
  counts.push_back(values.size());
  for (auto const count : counts)
    for (int const step : {1, -1, 2, -2}) {
      size_t const margin = 1 + count % 17;
      std::vector<From> memory(2 * margin + 2 * count, From(55));
      auto * const first =
          memory.data() + margin + (step < 0 && count > 0 ? (count - 1) * static_cast<size_t>(-step) : 0);
      for (size_t n = 0; n < count; ++n)
        first[static_cast<ptrdiff_t>(n) * step] = values[n];
      std::vector<To> few(count + 2 * margin, To(77)), expected(few);
      std::copy_n(results.begin(), count, expected.begin() + static_cast<ptrdiff_t>(margin));
      convertRow(fromType, toType, map, count, step, first, few.data() + margin);
      ASSERT_TRUE(std::equal(few.begin(), few.end(), expected.begin(), sameValue<To>)) << count << " at step " << step;
    }
}

template <size_t... N> void checkAllPairs(std::index_sequence<N...>, std::optional<LinearMap> map) {
  (checkPair<std::tuple_element_t<N / SCALAR_COUNT, Scalars>, std::tuple_element_t<N % SCALAR_COUNT, Scalars>>(
       static_cast<ScalarType>(N / SCALAR_COUNT), static_cast<ScalarType>(N % SCALAR_COUNT), map),
   ...);
}

struct ConversionLoops : EachVectorUnit {};
INSTANTIATE_TEST_SUITE_P(Units, ConversionLoops, testing::ValuesIn(EachVectorUnit::all()),
                         [](auto const & unit) { return unit.param; });

TEST_P(ConversionLoops, AllPairsAndTheirMapsMatchExactArithmetic) {
  for (std::optional<LinearMap> const map : {std::optional<LinearMap>(), {{1.0 / 3, -0.7}}})
    checkAllPairs(std::make_index_sequence<SCALAR_COUNT * SCALAR_COUNT>(), map);
}

// Any geometry gives what the conversion of the single values gives, and touches nothing else.
testing::AssertionResult convertsLikeReference(std::vector<uint64_t> const & size, Geometry const & source,
                                               Geometry const & destination) {
  return movesLikeReference(
      noise(source.bytes, 11), size, source, destination,
      [&](auto * first, auto * to) {
        convertStrided(size, source.strides, destination.strides, ScalarType::I16, ScalarType::F32, first, to);
      },
      [](auto * element, auto * to) {
        int16_t value;
        std::memcpy(&value, element, sizeof value);
        auto const result = static_cast<float>(value);
        std::memcpy(to, &result, sizeof result);
      });
}

void convertInAllOrdersAndSigns() {
  std::vector<std::vector<uint64_t>> const sizes{{},           {0, 3},      {1000},    {1, 1, 1},   {7, 5, 3},
                                                 {100, 2, 70}, {3, 90, 80}, {5000, 3}, {3, 2, 4, 3}};
  for (auto const & size : sizes) {
    auto const straight = canonical(size.size());
    auto order = straight;
    do
      for (unsigned signs = 0; signs < 1U << (2 * size.size()); ++signs) {
        auto const source = arrange(size, order, signs, signs % 3 * 2, 2);
        auto const destination = arrange(size, straight, signs >> size.size(), signs % 2 * 5, 4);
        ASSERT_TRUE(convertsLikeReference(size, source, destination)) << signs;
      }
    while (std::next_permutation(order.begin(), order.end()));
  }
}

TEST(ConversionPlan, AllOrdersAndSigns) { convertInAllOrdersAndSigns(); }

TEST_P(ConversionLoops, RowsOfEveryNthValueInBothDirections) {
  for (uint64_t const columns : {31, 32, 33, 500, 1024, 3000}) {
    std::vector<uint64_t> const size{columns, 3};
    for (uint64_t const n : {1, 2, 3, 4, 7})
      for (bool const downwards : {false, true})
        for (unsigned const reversed : {0, 1})
          EXPECT_TRUE(
              convertsLikeReference(size, everyNth(size, n, downwards, 2), arrange(size, {0, 1}, reversed, 0, 4)));
  }
}

// Memory whose neighbours on both sides end the process when they are touched.
std::span<std::byte> fencedMemory() {
  constexpr size_t PAGE = 65536; // of any system
  void * const all = ::mmap(nullptr, 3 * PAGE, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  auto * const first = static_cast<std::byte *>(all) + PAGE;
  if (all == MAP_FAILED || ::mprotect(first, PAGE, PROT_READ | PROT_WRITE))
    throw std::bad_alloc();
  return {first, PAGE};
}

TEST_P(ConversionLoops, NothingIsReadBeforeTheFirstOrBehindTheLastOfEveryNthValue) {
  static auto const bytes = fencedMemory();
  std::ranges::copy(noise(bytes.size(), 7), bytes.begin());
  std::pair<size_t, ScalarType> const types[] = {
      {1, ScalarType::U8}, {2, ScalarType::U16}, {4, ScalarType::U32}, {8, ScalarType::U64}};
  for (auto const & [valueBytes, type] : types)
    for (uint64_t count = 2; count <= 300; ++count)
      for (uint64_t const n : {1, 2, 3, 4}) {
        uint64_t const stride = n * valueBytes, reach = (count - 1) * stride;
        for (size_t const low : {size_t{0}, bytes.size() - reach - valueBytes})
          for (bool const downwards : {false, true}) {
            auto const * const first = bytes.data() + low + (downwards ? reach : 0);
            uint64_t const step = downwards ? uint64_t{0} - stride : stride;
            std::vector<double> results(count);
            convertStrided(std::array{count}, std::array{step}, std::array{uint64_t{8}}, type, ScalarType::F64, first,
                           results.data());
            for (uint64_t i = 0; i < count; ++i) {
              uint64_t expected = 0;
              std::memcpy(&expected, first + static_cast<int64_t>(i * step), valueBytes);
              ASSERT_EQ(results[i], static_cast<double>(expected)) << fmt::format(
                  "value {} of {} of {} bytes, every {}{}", i, count, valueBytes, n, downwards ? " downwards" : "");
            }
          }
      }
}

struct ConversionsInPieces : WithThreads {};

TEST_F(ConversionsInPieces, OfSmallOnesGiveTheSameResult) {
  cutForThreads(2);
  convertInAllOrdersAndSigns();
}

TEST_F(ConversionsInPieces, OfLargeOnesStreamWithTheSameResult) {
  std::vector<uint64_t> const size{4001, 3003}; // 48 MB of floats
  auto const source = arrange(size, {0, 1}, 2, 2, 2);
  auto const destination = arrange(size, {0, 1}, 0, 0, 4);
  EXPECT_TRUE(convertsLikeReference(size, source, destination));
  setThreadCount(3);
  EXPECT_TRUE(convertsLikeReference(size, source, destination));
  EXPECT_TRUE(convertsLikeReference(size, source, arrange(size, {1, 0}, 1, 0, 4)));
}

TEST(ConversionPlan, OverlapIsAsIfTheSourceWereReadFirst) {
  std::mt19937_64 random(testSeed());
  for (uint64_t const count : {10, 1000, 10000})
    for (int round = 0; round < 20; ++round) {
      std::vector<float> memory(3 * count), expected(memory);
      auto const from = round == 0 ? 0 : random() % count, to = round == 0 ? 0 : random() % count;
      auto * const source = reinterpret_cast<int16_t *>(memory.data()) + from;
      for (uint64_t n = 0; n < count; ++n) {
        source[n] = static_cast<int16_t>(n * 7919);
        expected[n] = source[n];
      }
      convertStrided(std::array{count}, std::array{uint64_t{2}}, std::array{uint64_t{4}}, ScalarType::I16,
                     ScalarType::F32, source, memory.data() + to);
      ASSERT_TRUE(std::equal(&memory[to], &memory[to + count], expected.begin())) << from << " " << to;
    }
}

} // namespace

} // namespace zarnik
