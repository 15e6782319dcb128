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
#include <cstring>
#include <tuple>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace zarnik::layout {
namespace HWY_NAMESPACE {

using Scalars = std::tuple<uint8_t, int8_t, uint16_t, int16_t, uint32_t, int32_t, uint64_t, int64_t, float, double>;
constexpr size_t scalarCount = std::tuple_size_v<Scalars>;

using Convert = void (*)(std::byte const *, std::byte *, size_t);

template <typename From, typename To>
void convertLoop(std::byte const * HWY_RESTRICT source, std::byte * HWY_RESTRICT destination, size_t count) {
  for (size_t n = 0; n < count; ++n) {
    From from;
    std::memcpy(&from, source + n * sizeof(From), sizeof(From));
    To const to = convertValue<To>(from);
    std::memcpy(destination + n * sizeof(To), &to, sizeof(To));
  }
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
