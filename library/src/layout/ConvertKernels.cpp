// Conversions of dense values. The loops are plain C++ that the compiler turns into vector code once per target; what
// it is allowed to assume (no traps, no contracted products, so that all targets give the same bits) is set for this
// file in the build.

#include "layout/ConvertKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "layout/ConvertKernels.cpp"
#include <hwy/foreach_target.h>
//
#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include "layout/ConvertValue.h"
#include "layout/StreamBytes-inl.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace zarnik::layout {
namespace HWY_NAMESPACE {

using Scalars = std::tuple<uint8_t, int8_t, uint16_t, int16_t, uint32_t, int32_t, uint64_t, int64_t, float, double>;
constexpr size_t scalarCount = std::tuple_size_v<Scalars>;

constexpr size_t lineBytesOfAnyUnit = 64;

using Convert = void (*)(std::byte const *, std::byte *, size_t);

#if HWY_TARGET != HWY_SCALAR

// Narrows 32-bit integers with limits, also where the unit takes the intermediate 16 bits of a narrowing to uint8_t for
// signed ones.
template <class D, class V> HWY_INLINE auto narrowed(D results, V whole) {
  if constexpr (std::is_same_v<hn::TFromD<D>, uint8_t>) {
    return hn::DemoteTo(results, hn::Min(whole, hn::Set(hn::DFromV<V>(), 255)));
  } else {
    return hn::DemoteTo(results, whole);
  }
}

// The units have instructions that round and limit at once, which the compiler does not find by itself. Returns how
// many values it converted; the loop over single values does the rest.
template <typename To> size_t vectorsToInteger(float const * source, To * destination, size_t count) {
  LineTag<float> const d;
  hn::RebindToSigned<decltype(d)> const words;
  hn::Rebind<To, decltype(d)> const results;
  size_t n = 0;
  for (; n + hn::Lanes(d) <= count; n += hn::Lanes(d)) {
    auto const value = hn::LoadU(d, source + n);
    if constexpr (std::is_same_v<To, uint32_t>) {
      // The upper half of the range is moved down for the conversion, and the result back up.
      auto const middle = hn::Set(d, 2147483648.0F);
      auto const positive = hn::IfThenElseZero(hn::Gt(value, hn::Zero(d)), value);
      auto const upper = hn::Ge(positive, middle);
      auto const low = hn::NearestInt(hn::Sub(positive, hn::IfThenElseZero(upper, middle)));
      auto const top = hn::IfThenElseZero(hn::RebindMask(words, upper), hn::Set(words, INT32_MIN));
      hn::StoreU(hn::BitCast(results, hn::Xor(low, top)), results, destination + n);
    } else {
      auto const whole = hn::IfThenElseZero(hn::RebindMask(words, hn::Eq(value, value)), hn::NearestInt(value));
      if constexpr (std::is_same_v<To, int32_t>) {
        hn::StoreU(whole, results, destination + n);
      } else {
        hn::StoreU(narrowed(results, whole), results, destination + n);
      }
    }
  }
  return n;
}

template <typename To> size_t vectorsToInteger(double const * source, To * destination, size_t count) {
  LineTag<double> const d;
  hn::Rebind<int32_t, decltype(d)> const words;
  hn::Rebind<To, decltype(d)> const results;
  size_t n = 0;
  for (; n + hn::Lanes(d) <= count; n += hn::Lanes(d)) {
    auto const value = hn::LoadU(d, source + n);
    auto const whole = hn::DemoteTo(words, hn::Round(hn::IfThenElseZero(hn::Eq(value, value), value)));
    if constexpr (std::is_same_v<To, int32_t>) {
      hn::StoreU(whole, results, destination + n);
    } else {
      hn::StoreU(narrowed(results, whole), results, destination + n);
    }
  }
  return n;
}

#endif

template <typename From, typename To>
HWY_INLINE void convertEach(std::byte const * HWY_RESTRICT source, std::byte * HWY_RESTRICT destination, size_t count) {
  for (size_t n = 0; n < count; ++n) {
    From from;
    std::memcpy(&from, source + n * sizeof(From), sizeof(From));
    To const to = convertValue<To>(from);
    std::memcpy(destination + n * sizeof(To), &to, sizeof(To));
  }
}

template <typename From, typename To>
void convertLoop(std::byte const * source, std::byte * destination, size_t count) {
  // Vectors of the wider side that do not cross cache lines: half the accesses of the widest units otherwise do.
  auto const address =
      sizeof(To) >= sizeof(From) ? reinterpret_cast<uintptr_t>(destination) : reinterpret_cast<uintptr_t>(source);
  size_t const head = (uintptr_t{0} - address) % lineBytesOfAnyUnit / std::max(sizeof(From), sizeof(To));
  if (head != 0 && count >= 8 * lineBytesOfAnyUnit) {
    convertEach<From, To>(source, destination, head);
    source += head * sizeof(From);
    destination += head * sizeof(To);
    count -= head;
  }
#if HWY_TARGET != HWY_SCALAR
  if constexpr (std::is_floating_point_v<From> && std::is_integral_v<To> && sizeof(To) <= 4 &&
                !(std::is_same_v<From, double> && std::is_same_v<To, uint32_t>)) {
    size_t const done =
        vectorsToInteger(reinterpret_cast<From const *>(source), reinterpret_cast<To *>(destination), count);
    source += done * sizeof(From);
    destination += done * sizeof(To);
    count -= done;
  }
#endif
  convertEach<From, To>(source, destination, count);
}

template <size_t... n> constexpr auto convertTable(std::index_sequence<n...>) {
  return std::array<Convert, sizeof...(n)>{
      &convertLoop<std::tuple_element_t<n / scalarCount, Scalars>, std::tuple_element_t<n % scalarCount, Scalars>>...};
}

void convertDense(ScalarType sourceType, ScalarType destinationType, std::byte const * source, std::byte * destination,
                  size_t count) {
  static constexpr auto table = convertTable(std::make_index_sequence<scalarCount * scalarCount>());
  table[static_cast<size_t>(sourceType) * scalarCount + static_cast<size_t>(destinationType)](source, destination,
                                                                                              count);
}

void mapDoubles(LinearMap map, double * values, size_t count) {
  for (size_t n = 0; n < count; ++n) {
    values[n] = values[n] * map.scale + map.offset;
  }
}

void streamDense(std::byte * destination, std::byte const * source, size_t bytes) {
#if HWY_TARGET == HWY_SCALAR
  std::memcpy(destination, source, bytes);
#else
  streamBytes(destination, source, bytes);
#endif
}

} // namespace HWY_NAMESPACE
} // namespace zarnik::layout
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace zarnik::layout {

HWY_EXPORT(convertDense);
HWY_EXPORT(mapDoubles);
HWY_EXPORT(streamDense);

void convertValues(ScalarType sourceType, ScalarType destinationType, std::byte const * source, std::byte * destination,
                   size_t count) {
  HWY_DYNAMIC_DISPATCH(convertDense)(sourceType, destinationType, source, destination, count);
}

void mapValues(ScalarType sourceType, ScalarType destinationType, LinearMap map, std::byte const * source,
               std::byte * destination, size_t count) {
  constexpr size_t bytesOf[] = {1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
  std::array<double, convertedAtOnce> values;
  auto * const bytes = reinterpret_cast<std::byte *>(values.data());
  for (size_t first = 0; first < count; first += values.size()) {
    size_t const now = std::min(values.size(), count - first);
    convertValues(sourceType, ScalarType::F64, source + first * bytesOf[static_cast<size_t>(sourceType)], bytes, now);
    HWY_DYNAMIC_DISPATCH(mapDoubles)(map, values.data(), now);
    convertValues(ScalarType::F64, destinationType, bytes,
                  destination + first * bytesOf[static_cast<size_t>(destinationType)], now);
  }
}

void streamValues(std::byte * destination, std::byte const * source, size_t bytes) {
  HWY_DYNAMIC_DISPATCH(streamDense)(destination, source, bytes);
}

void flushStreams() { hwy::FlushStream(); }

} // namespace zarnik::layout

#endif
