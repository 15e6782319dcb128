#include "zarnik/values/DataType.h"

#include "core/Guarded.h"
#include "zarnik/values/Vector.h"

#include <array>
#include <cmath>
#include <fmt/format.h>
#include <string_view>

namespace zarnik {

namespace {

uint64_t pack(uint64_t interpretation, uint64_t primitive, uint64_t elementCount, uint64_t bitDepth) {
  return interpretation << 32 | primitive << 16 | elementCount << 8 | bitDepth;
}

template <size_t COUNT> std::string nameOrNumber(std::array<char const *, COUNT> const & names, uint64_t value) {
  return value < COUNT ? names[value] : fmt::format("{}", value);
}

constexpr std::array PRIMITIVES{"UNKNOWN", "UNSIGNED_INTEGER", "SIGNED_INTEGER", "FLOATING_POINT", "UNICODE_STRING"};
constexpr std::array INTERPRETATIONS{"RAW", "COMPLEX", "SQUARE_MATRIX", "SYMMETRIC_MATRIX"};

// Name of a usual scalar type such as "UINT16"; empty if it is none.
std::string scalarName(PrimitiveTypeId primitive, size_t bitDepth) {
  auto const isOneOf = [bitDepth](auto... depths) { return ((bitDepth == depths) || ...); };
  switch (primitive) {
  case PrimitiveTypeId::UNSIGNED_INTEGER:
    return isOneOf(8u, 16u, 32u, 64u) ? fmt::format("UINT{}", bitDepth) : "";
  case PrimitiveTypeId::SIGNED_INTEGER:
    return isOneOf(8u, 16u, 32u, 64u) ? fmt::format("INT{}", bitDepth) : "";
  case PrimitiveTypeId::FLOATING_POINT:
    return bitDepth == 32 ? "FLOAT" : bitDepth == 64 ? "DOUBLE" : "";
  case PrimitiveTypeId::UNICODE_STRING:
    return isOneOf(8u, 16u, 32u) ? fmt::format("UTF{}_STRING", bitDepth) : "";
  default:
    return "";
  }
}

struct Composite {
  DataTypeInterpretation interpretation;
  size_t elementCount;
  char const * prefix;
};

constexpr Composite COMPOSITES[] = {
    {DataTypeInterpretation::COMPLEX, 2, "COMPLEX_"},
    {DataTypeInterpretation::SQUARE_MATRIX, 4, "MATRIX2_"},
    {DataTypeInterpretation::SQUARE_MATRIX, 9, "MATRIX3_"},
    {DataTypeInterpretation::SQUARE_MATRIX, 16, "MATRIX4_"},
    {DataTypeInterpretation::SYMMETRIC_MATRIX, 3, "SYM_MATRIX2_"},
    {DataTypeInterpretation::SYMMETRIC_MATRIX, 6, "SYM_MATRIX3_"},
};

// Name of the DataTypeId of a type; empty if it has none.
std::string idName(DataType type) {
  if (type.id() == 0)
    return "UNKNOWN";
  auto scalar = scalarName(type.primitiveType(), type.bitDepth());
  if (scalar.empty())
    return "";
  auto const count = type.elementCount();
  if (type.interpretation() == DataTypeInterpretation::RAW) {
    if (count == 1)
      return scalar;
    return type.isNumeric() && count >= 2 && count <= 4 ? fmt::format("VEC{}_{}", count, scalar) : "";
  }
  if (type.primitiveType() == PrimitiveTypeId::FLOATING_POINT) {
    for (auto const & composite : COMPOSITES)
      if (composite.interpretation == type.interpretation() && composite.elementCount == count)
        return composite.prefix + scalar;
  }
  return "";
}

} // namespace

DataType::DataType(uint64_t id) : id_(id) {}

DataType::DataType(DataTypeId dataTypeId) : id_(static_cast<uint64_t>(dataTypeId)) {}

DataType::DataType(PrimitiveTypeId primitive, size_t bitDepth, size_t elementCount,
                   DataTypeInterpretation interpretation) {
  auto const require = [](bool fits, char const * what, auto value, unsigned limit) {
    if (!fits)
      throw InvalidArgument(message("{} {} of a data type is out of range, allowed are 0 to {}", what, value, limit));
  };
  auto const primitiveValue = static_cast<int>(primitive);
  auto const interpretationValue = static_cast<int>(interpretation);
  require(primitiveValue >= 0 && primitiveValue <= 0xFFFF, "primitive type", primitiveValue, 0xFFFF);
  require(bitDepth <= 0xFF, "bit depth", bitDepth, 0xFF);
  require(elementCount <= 0xFF, "element count", elementCount, 0xFF);
  require(interpretationValue >= 0, "interpretation", interpretationValue, 0x7FFFFFFF);
  id_ = pack(static_cast<uint64_t>(interpretationValue), static_cast<uint64_t>(primitiveValue), elementCount, bitDepth);
}

DataType DataType::extractScalarType(DataType t) {
  if (t.elementCount() <= 1)
    return t;
  return DataType(pack(0, static_cast<uint64_t>(t.primitiveType()), 1, t.bitDepth()));
}

Vector<double, 2> DataType::standardRange(DataType t) {
  auto const bits = static_cast<int>(t.bitDepth());
  if (t.isNumeric() && bits > 0) {
    switch (t.primitiveType()) {
    case PrimitiveTypeId::UNSIGNED_INTEGER:
      return {0, std::ldexp(1.0, bits) - 1};
    case PrimitiveTypeId::SIGNED_INTEGER:
      return {-std::ldexp(1.0, bits - 1), std::ldexp(1.0, bits - 1) - 1};
    default:
      return {0, 1};
    }
  }
  throw InvalidArgument(message("data type {} has no range of values, only numeric types have", t.toString()));
}

bool DataType::isNumeric() const {
  return primitiveType() == PrimitiveTypeId::UNSIGNED_INTEGER || primitiveType() == PrimitiveTypeId::SIGNED_INTEGER ||
         primitiveType() == PrimitiveTypeId::FLOATING_POINT;
}

bool DataType::isScalar() const { return isNumeric() && elementCount() == 1; }

bool DataType::isVector() const {
  return isNumeric() && elementCount() > 1 && interpretation() == DataTypeInterpretation::RAW;
}

bool DataType::isConvertibleTo(DataType other) const {
  return *this == other || (isNumeric() && other.isNumeric() && elementCount() == other.elementCount() &&
                            interpretation() == other.interpretation());
}

std::string DataType::toString() const {
  return guarded([&] {
    if (auto name = idName(*this); !name.empty())
      return name;
    return fmt::format("({}, {} bits, {} elements, {})",
                       nameOrNumber(PRIMITIVES, static_cast<uint64_t>(primitiveType())), bitDepth(), elementCount(),
                       nameOrNumber(INTERPRETATIONS, id_ >> 32));
  });
}

} // namespace zarnik
