// Included once per vector target, hence the toggled guard instead of #pragma once.
#if defined(ZARNIK_LAYOUT_SPREAD_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZARNIK_LAYOUT_SPREAD_KERNELS_INL_H
#undef ZARNIK_LAYOUT_SPREAD_KERNELS_INL_H
#else
#define ZARNIK_LAYOUT_SPREAD_KERNELS_INL_H
#endif

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include "layout/ConvertKernels.h"
#include "layout/StreamBytes-inl.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

HWY_BEFORE_NAMESPACE();
namespace zarnik::layout::HWY_NAMESPACE {

/// Values converted between two looks ahead, a multiple of the lanes of every unit.
inline constexpr size_t SPREAD_BLOCK = 16;

/// The first of each `Step` values as a double. Reads all `Step` of each: these are one lane of `Step` times the width,
/// of which the lowest part is taken.
template <typename From, size_t Step, class D> HWY_INLINE hn::Vec<D> loadSpread(D doubles, From const * from) {
  constexpr size_t bits = sizeof(From) * 8;
  if constexpr (std::is_same_v<From, float>) {
    hn::Rebind<float, D> const floats;
    if constexpr (Step == 1) {
      return hn::PromoteTo(doubles, hn::LoadU(floats, from));
    } else {
      auto const pairs = hn::LoadU(hn::Rebind<uint64_t, D>(), reinterpret_cast<uint64_t const *>(from));
      return hn::PromoteTo(doubles, hn::BitCast(floats, hn::TruncateTo(hn::Rebind<uint32_t, D>(), pairs)));
    }
  } else if constexpr (Step == 1) {
    return hn::PromoteTo(doubles, hn::PromoteTo(hn::Rebind<int32_t, D>(), hn::LoadU(hn::Rebind<From, D>(), from)));
  } else {
    using Lane = std::conditional_t<sizeof(From) == 1, int16_t, int32_t>;
    hn::Rebind<Lane, D> const lanes;
    hn::Rebind<int32_t, D> const words;
    auto value = hn::LoadU(lanes, reinterpret_cast<Lane const *>(from));
    if constexpr (std::is_signed_v<From>) {
      value = hn::ShiftRight<bits>(hn::ShiftLeft<bits>(value));
    } else {
      value = hn::And(value, hn::Set(lanes, static_cast<Lane>((1 << bits) - 1)));
    }
    if constexpr (sizeof(Lane) == 2) {
      return hn::PromoteTo(doubles, hn::PromoteTo(words, value));
    } else {
      return hn::PromoteTo(doubles, value);
    }
  }
}

template <typename From, typename To, size_t Step, bool Downwards>
void convertSpread(LinearMap map, SpreadRow const & row, std::byte * destination) {
  LineTag<double> const doubles;
  hn::Rebind<To, decltype(doubles)> const results;
  size_t const lanes = hn::Lanes(doubles);
  auto const scale = hn::Set(doubles, map.scale);
  auto const offset = hn::Set(doubles, map.offset);
  auto const * const first = reinterpret_cast<From const *>(row.first);
  auto * const to = reinterpret_cast<To *>(destination);
  auto const one = [&](size_t i) {
    From from;
    std::memcpy(&from, Downwards ? first - i * Step : first + i * Step, sizeof from);
    auto const value = static_cast<To>(static_cast<double>(from) * map.scale + map.offset);
    std::memcpy(to + i, &value, sizeof value);
  };
  auto const block = [&](size_t begin) {
    auto const * const lowest = Downwards ? first - (begin + SPREAD_BLOCK - 1) * Step : first + begin * Step;
    for (size_t byte = 0; byte < SPREAD_BLOCK * Step * sizeof(From); byte += LINE_BYTES) {
      hwy::Prefetch(reinterpret_cast<std::byte const *>(lowest) + row.sourceAhead + byte);
    }
    for (size_t byte = 0; byte < SPREAD_BLOCK * sizeof(To); byte += LINE_BYTES) {
      hwy::Prefetch(reinterpret_cast<std::byte const *>(to + begin) + row.destinationAhead + byte);
    }
    for (size_t n = 0; n < SPREAD_BLOCK; n += lanes) {
      auto value = loadSpread<From, Step>(doubles, lowest + (Downwards ? SPREAD_BLOCK - lanes - n : n) * Step);
      if constexpr (Downwards) {
        value = hn::Reverse(doubles, value);
      }
      value = hn::Add(hn::Mul(value, scale), offset);
      if constexpr (std::is_same_v<To, float>) {
        hn::StoreU(hn::DemoteTo(results, value), results, to + begin + n);
      } else {
        hn::StoreU(value, results, to + begin + n);
      }
    }
  };
  // What lies behind the value with the highest address is not read.
  size_t const begin = Downwards && Step > 1 ? 1 : 0;
  size_t const end = !Downwards && Step > 1 ? row.count - 1 : row.count;
  if (end < begin + SPREAD_BLOCK) {
    for (size_t i = 0; i < row.count; ++i) {
      one(i);
    }
    return;
  }
  if (begin != 0) {
    one(0);
  }
  // Whole lines of the destination, and blocks over both ends.
  block(begin);
  size_t i = begin + SPREAD_BLOCK - reinterpret_cast<uintptr_t>(to + begin) % LINE_BYTES / sizeof(To);
  for (; i + SPREAD_BLOCK <= end; i += SPREAD_BLOCK) {
    block(i);
  }
  if (i < end) {
    block(end - SPREAD_BLOCK);
  }
  if (end != row.count) {
    one(end);
  }
}

template <typename From, typename To> SpreadKernel spreadKernelOf(int64_t stride) {
  constexpr auto bytes = static_cast<int64_t>(sizeof(From));
  return stride == 2 * bytes    ? &convertSpread<From, To, 2, false>
         : stride == -2 * bytes ? &convertSpread<From, To, 2, true>
         : stride == -bytes     ? &convertSpread<From, To, 1, true>
                                : nullptr;
}

template <typename To> SpreadKernel spreadKernelTo(ScalarType sourceType, int64_t stride) {
  switch (sourceType) {
  case ScalarType::U8:
    return spreadKernelOf<uint8_t, To>(stride);
  case ScalarType::I8:
    return spreadKernelOf<int8_t, To>(stride);
  case ScalarType::U16:
    return spreadKernelOf<uint16_t, To>(stride);
  case ScalarType::I16:
    return spreadKernelOf<int16_t, To>(stride);
  case ScalarType::F32:
    return spreadKernelOf<float, To>(stride);
  default:
    return nullptr;
  }
}

inline SpreadKernel spreadToFloats(ScalarType sourceType, ScalarType destinationType, int64_t stride) {
  if constexpr (std::endian::native != std::endian::little) {
    return nullptr;
  }
  return destinationType == ScalarType::F32   ? spreadKernelTo<float>(sourceType, stride)
         : destinationType == ScalarType::F64 ? spreadKernelTo<double>(sourceType, stride)
                                              : nullptr;
}

} // namespace zarnik::layout::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#else

namespace zarnik::layout::HWY_NAMESPACE {
inline SpreadKernel spreadToFloats(ScalarType, ScalarType, int64_t) { return nullptr; }
} // namespace zarnik::layout::HWY_NAMESPACE

#endif
#endif
