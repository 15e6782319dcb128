#pragma once

#include <cstdint>

namespace zarnik {

/// The ten scalar types whose values can be converted into each other.
enum class ScalarType : uint8_t { U8, I8, U16, I16, U32, I32, U64, I64, F32, F64 };

/// The map value * scale + offset, computed in double precision: a product, then a sum, each rounded.
struct LinearMap {
  double scale = 1;
  double offset = 0;
};

} // namespace zarnik
