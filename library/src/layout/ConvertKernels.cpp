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
#include "layout/SpreadKernels-inl.h"
#include "layout/StreamBytes-inl.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <tuple>
#include <type_traits>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace zarnik::layout {
namespace HWY_NAMESPACE {

using Scalars = std::tuple<uint8_t, int8_t, uint16_t, int16_t, uint32_t, int32_t, uint64_t, int64_t, float, double>;
constexpr size_t SCALAR_COUNT = std::tuple_size_v<Scalars>;

constexpr size_t LINE_BYTES_OF_ANY_UNIT = 64;

using Convert = void (*)(std::byte const *, std::byte *, size_t);

// Emulated vectors gain nothing over the plain loops, and what they do with values out of range is left open.
#undef ZARNIK_HAS_VECTORS
#define ZARNIK_HAS_VECTORS (HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128)

#if ZARNIK_HAS_VECTORS

// Two loops over the same number of bytes whose addresses agree in their lowest bits by less than this: the loads of
// one seem to the processor to depend on the stores just before, if the destination is ahead.
constexpr uintptr_t PAGE_BYTES = 4096;
constexpr uintptr_t FALSE_DEPENDENCE = 1024;

// Calls convert(n) for each whole vector of `lanes` values at n, and returns how many values these are. Goes downwards
// where going upwards would wait for false dependences.
template <typename From, typename To, class ConvertVector>
HWY_INLINE size_t eachVector(From const * source, To const * destination, size_t lanes, size_t count,
                             ConvertVector const & convert) {
  size_t const whole = count / lanes * lanes;
  uintptr_t const ahead = (reinterpret_cast<uintptr_t>(destination) - reinterpret_cast<uintptr_t>(source)) % PAGE_BYTES;
  if (ahead != 0 && ahead < FALSE_DEPENDENCE) {
    for (size_t n = whole; n != 0; n -= lanes) {
      convert(n - lanes);
    }
  } else {
    for (size_t n = 0; n < whole; n += lanes) {
      convert(n);
    }
  }
  return whole;
}

template <typename From, typename To>
constexpr bool BY_SINGLE_VECTORS = sizeof(From) == sizeof(To) &&
                                   !std::is_same_v<From, To> && std::is_integral_v<From> &&
                                   (std::is_integral_v<To> || std::is_same_v<From, int32_t>);

// Values of the same size, one vector of them becomes one. The compiler finds the same instructions, but the direction
// has to be ours.
template <typename From, typename To> size_t vectorsOfSameSize(From const * source, To * destination, size_t count) {
  LineTag<From> const d;
  hn::Rebind<To, decltype(d)> const results;
  return eachVector(source, destination, hn::Lanes(d), count, [&](size_t n) {
    auto const value = hn::LoadU(d, source + n);
    if constexpr (std::is_floating_point_v<To>) {
      hn::StoreU(hn::ConvertTo(results, value), results, destination + n);
    } else if constexpr (std::is_signed_v<From>) {
      hn::StoreU(hn::BitCast(results, hn::Max(value, hn::Zero(d))), results, destination + n);
    } else {
      auto const most = hn::Set(d, static_cast<From>(std::numeric_limits<To>::max()));
      hn::StoreU(hn::BitCast(results, hn::Min(value, most)), results, destination + n);
    }
  });
}

// The units have instructions that round and limit at once, which the compiler does not find by itself.
template <typename To> size_t vectorsToWords(float const * source, To * destination, size_t count) {
  LineTag<float> const d;
  hn::RebindToSigned<decltype(d)> const words;
  hn::Rebind<To, decltype(d)> const results;
  return eachVector(source, destination, hn::Lanes(d), count, [&](size_t n) {
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
      hn::StoreU(hn::IfThenElseZero(hn::RebindMask(words, hn::Eq(value, value)), hn::NearestInt(value)), results,
                 destination + n);
    }
  });
}

#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
// Other units have no instructions for this.
HWY_INLINE size_t vectorsToLongs(double const * source, int64_t * destination, size_t count) {
  LineTag<double> const d;
  LineTag<int64_t> const results;
  return eachVector(source, destination, hn::Lanes(d), count, [&](size_t n) {
    auto const value = hn::LoadU(d, source + n);
    auto const whole = hn::Round(hn::IfThenElseZero(hn::Eq(value, value), value));
    hn::StoreU(hn::ConvertTo(results, whole), results, destination + n);
  });
}
#endif

// Nearest integers of values below 2^31, without Highway's care for those from there on. What is below -2^31 becomes
// -2^31, and on x86 so does NaN.
#if HWY_ARCH_X86
HWY_INLINE hn::Vec128<int32_t> nearestWords(hn::Vec128<float> v) { return {_mm_cvtps_epi32(v.raw)}; }
HWY_INLINE hn::Vec128<int32_t, 2> nearestWords(hn::Vec128<double> v) {
  return hn::Vec128<int32_t, 2>{_mm_cvtpd_epi32(v.raw)};
}
#if HWY_TARGET <= HWY_AVX2
HWY_INLINE hn::Vec256<int32_t> nearestWords(hn::Vec256<float> v) { return {_mm256_cvtps_epi32(v.raw)}; }
HWY_INLINE hn::Vec128<int32_t> nearestWords(hn::Vec256<double> v) { return {_mm256_cvtpd_epi32(v.raw)}; }
#endif
#if HWY_TARGET <= HWY_AVX3
HWY_INLINE hn::Vec512<int32_t> nearestWords(hn::Vec512<float> v) { return {_mm512_cvtps_epi32(v.raw)}; }
HWY_INLINE hn::Vec256<int32_t> nearestWords(hn::Vec512<double> v) { return {_mm512_cvtpd_epi32(v.raw)}; }
#endif
#else
template <class V> HWY_INLINE auto nearestWords(V v) {
  hn::DFromV<V> const d;
  if constexpr (sizeof(hn::TFromD<decltype(d)>) == 4) {
    return hn::NearestInt(v);
  } else {
    return hn::DemoteTo(hn::Rebind<int32_t, decltype(d)>(), hn::Round(v));
  }
}
#endif

// Nearest integers, limited to the largest value of To; demoting them limits the others.
template <typename To, class D> HWY_INLINE auto limitedWords(D d, hn::TFromD<D> const * source) {
  auto const most = hn::Set(d, static_cast<hn::TFromD<D>>(std::numeric_limits<To>::max()));
  auto const value = hn::LoadU(d, source);
  if constexpr (HWY_ARCH_X86 && !std::is_signed_v<To>) {
    return nearestWords(hn::Min(most, value)); // the minimum instructions hand on a second operand that is NaN
  } else {
    return nearestWords(hn::Min(hn::IfThenElseZero(hn::Eq(value, value), value), most));
  }
}

template <typename To, class DW> HWY_INLINE auto fullWords(DW, float const * source) {
  return limitedWords<To>(hn::Rebind<float, DW>(), source);
}

template <typename To, class DW> HWY_INLINE auto fullWords(DW words, double const * source) {
  hn::Rebind<double, hn::Half<DW>> const d;
  auto const low = limitedWords<To>(d, source);
  return hn::Combine(words, limitedWords<To>(d, source + hn::Lanes(d)), low);
}

template <typename From, typename To> size_t vectorsToNarrow(From const * source, To * destination, size_t count) {
  LineTag<int32_t> const words;
  size_t const lanes = hn::Lanes(words);
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2
  if constexpr (sizeof(To) == 1) {
    // Two vectors are narrowed to 16 bits within their blocks of 16 bytes, these to 8 bits in order, and then the
    // groups of four values that came from the one vector or the other are told apart.
    hn::Repartition<int16_t, decltype(words)> const shorts;
    hn::Rebind<To, decltype(shorts)> const results;
    hn::Repartition<uint32_t, decltype(results)> const groups;
    HWY_ALIGN static constexpr int32_t order512[] = {0, 2, 4, 6, 1, 3, 5, 7};
    HWY_ALIGN static constexpr int32_t order256[] = {0, 2, 1, 3};
    auto const order = hn::SetTableIndices(groups, HWY_TARGET == HWY_AVX2 ? order256 : order512);
    return eachVector(source, destination, 2 * lanes, count, [&](size_t n) {
      auto const mixed =
          hn::ReorderDemote2To(shorts, fullWords<To>(words, source + n), fullWords<To>(words, source + n + lanes));
      auto const narrow = hn::BitCast(groups, hn::DemoteTo(results, mixed));
      hn::StoreU(hn::BitCast(results, hn::TableLookupLanes(narrow, order)), results, destination + n);
    });
  }
#endif
  hn::Rebind<To, decltype(words)> const results;
  return eachVector(source, destination, lanes, count, [&](size_t n) {
    if constexpr (std::is_same_v<To, int32_t>) {
      hn::StoreU(fullWords<To>(words, source + n), results, destination + n);
    } else {
      hn::StoreU(hn::DemoteTo(results, fullWords<To>(words, source + n)), results, destination + n);
    }
  });
}

// Converts whole vectors where there is a better way than the compiler's, and returns how many values that were; the
// loop over single values does the rest.
template <typename From, typename To> size_t convertVectors(From const * source, To * destination, size_t count) {
  if constexpr (BY_SINGLE_VECTORS<From, To>) {
    return vectorsOfSameSize(source, destination, count);
  } else if constexpr ((std::is_floating_point_v<From> && std::is_integral_v<To> && sizeof(To) <= 2) ||
                       (std::is_same_v<From, double> && std::is_same_v<To, int32_t>)) {
    return vectorsToNarrow(source, destination, count);
  } else if constexpr (std::is_same_v<From, float> && std::is_integral_v<To> && sizeof(To) == 4) {
    return vectorsToWords(source, destination, count);
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
  } else if constexpr (std::is_same_v<From, double> && std::is_same_v<To, int64_t>) {
    return vectorsToLongs(source, destination, count);
#endif
  } else {
    return 0;
  }
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
  size_t const head = (uintptr_t{0} - address) % LINE_BYTES_OF_ANY_UNIT / std::max(sizeof(From), sizeof(To));
  if (head != 0 && count >= 8 * LINE_BYTES_OF_ANY_UNIT) {
    convertEach<From, To>(source, destination, head);
    source += head * sizeof(From);
    destination += head * sizeof(To);
    count -= head;
  }
#if ZARNIK_HAS_VECTORS
  size_t const done =
      convertVectors(reinterpret_cast<From const *>(source), reinterpret_cast<To *>(destination), count);
  source += done * sizeof(From);
  destination += done * sizeof(To);
  count -= done;
#endif
  convertEach<From, To>(source, destination, count);
}

template <size_t... N> constexpr auto convertTable(std::index_sequence<N...>) {
  return std::array<Convert, sizeof...(N)>{&convertLoop<std::tuple_element_t<N / SCALAR_COUNT, Scalars>,
                                                        std::tuple_element_t<N % SCALAR_COUNT, Scalars>>...};
}

void convertDense(ScalarType sourceType, ScalarType destinationType, std::byte const * source, std::byte * destination,
                  size_t count) {
  static constexpr auto table = convertTable(std::make_index_sequence<SCALAR_COUNT * SCALAR_COUNT>());
  table[static_cast<size_t>(sourceType) * SCALAR_COUNT + static_cast<size_t>(destinationType)](source, destination,
                                                                                               count);
}

using Map = void (*)(LinearMap, std::byte const *, std::byte *, size_t);

template <typename From, typename To>
void mapLoop(LinearMap map, std::byte const * HWY_RESTRICT source, std::byte * HWY_RESTRICT destination, size_t count) {
  for (size_t n = 0; n < count; ++n) {
    From from;
    std::memcpy(&from, source + n * sizeof(From), sizeof(From));
    auto const to = static_cast<To>(static_cast<double>(from) * map.scale + map.offset);
    std::memcpy(destination + n * sizeof(To), &to, sizeof(To));
  }
}

template <size_t... N> constexpr auto mapTable(std::index_sequence<N...>) {
  return std::array<Map, 2 * sizeof...(N)>{&mapLoop<std::tuple_element_t<N, Scalars>, float>...,
                                           &mapLoop<std::tuple_element_t<N, Scalars>, double>...};
}

// To floating point types, in one go.
void mapToFloats(ScalarType sourceType, ScalarType destinationType, LinearMap map, std::byte const * source,
                 std::byte * destination, size_t count) {
  static constexpr auto table = mapTable(std::make_index_sequence<SCALAR_COUNT>());
  table[(destinationType == ScalarType::F64 ? SCALAR_COUNT : 0) + static_cast<size_t>(sourceType)](map, source,
                                                                                                   destination, count);
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

#include "layout/CopyKernels.h"
#include "layout/VectorDispatch.h"

namespace zarnik::layout {

ZARNIK_VECTOR_KERNEL(convertDense);
ZARNIK_VECTOR_KERNEL(mapDoubles);
ZARNIK_VECTOR_KERNEL(mapToFloats);
ZARNIK_VECTOR_KERNEL(spreadToFloats);
ZARNIK_VECTOR_KERNEL(streamDense);

void convertValues(ScalarType sourceType, ScalarType destinationType, std::byte const * source, std::byte * destination,
                   size_t count) {
  ZARNIK_VECTOR_DISPATCH(convertDense)(sourceType, destinationType, source, destination, count);
}

void mapValues(ScalarType sourceType, ScalarType destinationType, LinearMap map, std::byte const * source,
               std::byte * destination, size_t count) {
  if (destinationType == ScalarType::F32 || destinationType == ScalarType::F64) {
    ZARNIK_VECTOR_DISPATCH(mapToFloats)(sourceType, destinationType, map, source, destination, count);
    return;
  }
  constexpr size_t bytesOf[] = {1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
  std::array<double, CONVERTED_AT_ONCE> values;
  auto * const bytes = reinterpret_cast<std::byte *>(values.data());
  for (size_t first = 0; first < count; first += values.size()) {
    size_t const now = std::min(values.size(), count - first);
    convertValues(sourceType, ScalarType::F64, source + first * bytesOf[static_cast<size_t>(sourceType)], bytes, now);
    ZARNIK_VECTOR_DISPATCH(mapDoubles)(map, values.data(), now);
    convertValues(ScalarType::F64, destinationType, bytes,
                  destination + first * bytesOf[static_cast<size_t>(destinationType)], now);
  }
}

SpreadKernel spreadKernel(ScalarType sourceType, ScalarType destinationType, int64_t stride) {
  return portableOnly ? nullptr : ZARNIK_VECTOR_DISPATCH(spreadToFloats)(sourceType, destinationType, stride);
}

void streamValues(std::byte * destination, std::byte const * source, size_t bytes) {
  ZARNIK_VECTOR_DISPATCH(streamDense)(destination, source, bytes);
}

void flushStreams() { hwy::FlushStream(); }

} // namespace zarnik::layout

#endif
