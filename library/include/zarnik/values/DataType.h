#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zarnik {

template <typename T, size_t N> class Vector;

/// Kind of the scalar components of a data type.
enum class PrimitiveTypeId {
  UNKNOWN = 0,
  UNSIGNED_INTEGER = 1,
  SIGNED_INTEGER = 2,
  FLOATING_POINT = 3,
  UNICODE_STRING = 4
};

/// What the components of a data type mean together.
enum class DataTypeInterpretation { RAW = 0, COMPLEX = 1, SQUARE_MATRIX = 2, SYMMETRIC_MATRIX = 3 };

/// Ids of the usual data types: bit depth (bits 0-7), element count (8-15), primitive type (16-31), interpretation
/// (32-63).
enum class DataTypeId : uint64_t {
  UNKNOWN = 0x0,
  UINT8 = 0x10108,
  UINT16 = 0x10110,
  UINT32 = 0x10120,
  UINT64 = 0x10140,
  INT8 = 0x20108,
  INT16 = 0x20110,
  INT32 = 0x20120,
  INT64 = 0x20140,
  FLOAT = 0x30120,
  DOUBLE = 0x30140,
  UTF8_STRING = 0x40108,
  UTF16_STRING = 0x40110,
  UTF32_STRING = 0x40120,
  VEC2_UINT8 = 0x10208,
  VEC2_INT8 = 0x20208,
  VEC2_UINT16 = 0x10210,
  VEC2_INT16 = 0x20210,
  VEC2_UINT32 = 0x10220,
  VEC2_INT32 = 0x20220,
  VEC2_UINT64 = 0x10240,
  VEC2_INT64 = 0x20240,
  VEC2_FLOAT = 0x30220,
  VEC2_DOUBLE = 0x30240,
  VEC3_UINT8 = 0x10308,
  VEC3_INT8 = 0x20308,
  VEC3_UINT16 = 0x10310,
  VEC3_INT16 = 0x20310,
  VEC3_UINT32 = 0x10320,
  VEC3_INT32 = 0x20320,
  VEC3_UINT64 = 0x10340,
  VEC3_INT64 = 0x20340,
  VEC3_FLOAT = 0x30320,
  VEC3_DOUBLE = 0x30340,
  VEC4_UINT8 = 0x10408,
  VEC4_INT8 = 0x20408,
  VEC4_UINT16 = 0x10410,
  VEC4_INT16 = 0x20410,
  VEC4_UINT32 = 0x10420,
  VEC4_INT32 = 0x20420,
  VEC4_UINT64 = 0x10440,
  VEC4_INT64 = 0x20440,
  VEC4_FLOAT = 0x30420,
  VEC4_DOUBLE = 0x30440,
  COMPLEX_FLOAT = 0x100030220,
  COMPLEX_DOUBLE = 0x100030240,
  MATRIX2_FLOAT = 0x200030420,
  MATRIX2_DOUBLE = 0x200030440,
  MATRIX3_FLOAT = 0x200030920,
  MATRIX3_DOUBLE = 0x200030940,
  MATRIX4_FLOAT = 0x200031020,
  MATRIX4_DOUBLE = 0x200031040,
  SYM_MATRIX2_FLOAT = 0x300030320,
  SYM_MATRIX2_DOUBLE = 0x300030340,
  SYM_MATRIX3_FLOAT = 0x300030620,
  SYM_MATRIX3_DOUBLE = 0x300030640
};

/// Type of one element of an image, an array or a column: one or more scalar components of one kind.
class ZARNIK_API DataType {
public:
  /// Default constructor, creating an opaque type.
  DataType() = default;

  /// Build a DataType from an id.
  ///
  /// \param id Bit depth (bits 0-7), element count (8-15), primitive type (16-31), interpretation (32-63).
  explicit DataType(uint64_t id);

  /// Build a DataType from a named id.
  ///
  /// \param dataTypeId One of the named ids.
  DataType(DataTypeId dataTypeId);

  /// Build a DataType from its properties.
  ///
  /// \param primitive Kind of the components.
  /// \param bitDepth Bits of one component, 0 to 255.
  /// \param elementCount Number of components, 0 to 255.
  /// \param interpretation What the components mean together.
  /// \throws InvalidArgument If a property does not fit the id.
  DataType(PrimitiveTypeId primitive, size_t bitDepth, size_t elementCount,
           DataTypeInterpretation interpretation = DataTypeInterpretation::RAW);

  /// Return the type of one component of a multi-component type.
  ///
  /// \param t Any type. A scalar is returned as it is.
  /// \return The type of one component.
  static DataType extractScalarType(DataType t);

  /// Return the range of values that is usual for a type.
  ///
  /// Integer types have their representable bounds, floating point types [0, 1].
  /// The bounds are computed in double precision: those of 64-bit integers are not exact.
  /// \param t A numeric type. For a multi-component type it is the range of a component.
  /// \return The minimum and the maximum.
  /// \throws InvalidArgument If the type has no range.
  static Vector<double, 2> standardRange(DataType t);

  /// Check if the components are integers or floating point numbers.
  ///
  /// \return True for integers and floating point numbers, whatever the number of components.
  bool isNumeric() const;

  /// Check if an element is one number.
  ///
  /// \return True for UINT8, false for VEC3_UINT8 and UTF8_STRING.
  bool isScalar() const;

  /// Check if an element is a vector: several numbers without another interpretation.
  ///
  /// \return True for VEC3_UINT8, false for UINT8 and COMPLEX_FLOAT.
  bool isVector() const;

  /// Checks if this type is trivially convertible to another.
  ///
  /// Numeric types of the same element count and interpretation are: each component is converted on its own,
  /// with a loss where the other type is narrower. Any type is to itself.
  /// \param other The type to convert to.
  /// \return True when the conversion is possible, be it with a loss.
  bool isConvertibleTo(DataType other) const;

  /// Return the id of the type.
  ///
  /// \return Bit depth (bits 0-7), element count (8-15), primitive type (16-31), interpretation (32-63).
  uint64_t id() const { return id_; }

  /// Return the number of bits of one component.
  ///
  /// e.g. UINT8 => 8 bit depth, VEC3_UINT16 => 16 bit depth
  ///
  /// \return The bits, 0 for the opaque type.
  size_t bitDepth() const { return id_ & 0xFF; }

  /// Return the number of components.
  ///
  /// e.g. UINT8 => 1 element, VEC3_UINT8 => 3 elements
  ///
  /// \return The components, 0 for the opaque type.
  size_t elementCount() const { return id_ >> 8 & 0xFF; }

  /// Return the kind of the components.
  ///
  /// \return One of the PrimitiveTypeId constants.
  PrimitiveTypeId primitiveType() const { return static_cast<PrimitiveTypeId>(id_ >> 16 & 0xFFFF); }

  /// Return what the components mean together.
  ///
  /// \return One of the DataTypeInterpretation constants.
  DataTypeInterpretation interpretation() const { return static_cast<DataTypeInterpretation>(id_ >> 32); }

  /// Return the number of bits of an element: bit depth times element count.
  ///
  /// \return The bits, e.g. 48 for VEC3_UINT16.
  size_t bitCount() const { return bitDepth() * elementCount(); }

  /// Return the number of bytes of an element: its bits rounded up to whole bytes.
  ///
  /// e.g. a type of 12 bits counts 2 bytes. The opaque type of 0 bits counts 1.
  ///
  /// \return The bytes, e.g. 6 for VEC3_UINT16.
  // Kept in signed arithmetic that truncates toward zero: callers rely on 1 byte for the opaque type.
  size_t byteCount() const { return static_cast<size_t>((static_cast<int>(bitCount()) - 1) / 8 + 1); }

  /// Return a string representation of the type.
  ///
  /// \return The name of the id, such as VEC3_UINT8; the four properties where the type has no named id.
  std::string toString() const;

  /// Check if two types are the same.
  ///
  /// \return True when all four properties are equal.
  bool operator==(DataType other) const { return id_ == other.id_; }

  /// Check if two types differ.
  ///
  /// \return True when one of the four properties differs.
  bool operator!=(DataType other) const { return id_ != other.id_; }

private:
  uint64_t id_ = 0;
};

#ifndef SWIG
namespace detail {
template <typename T> struct DataTypeIdOf;
template <> struct DataTypeIdOf<uint8_t> { static constexpr DataTypeId value = DataTypeId::UINT8; };
template <> struct DataTypeIdOf<int8_t> { static constexpr DataTypeId value = DataTypeId::INT8; };
template <> struct DataTypeIdOf<uint16_t> { static constexpr DataTypeId value = DataTypeId::UINT16; };
template <> struct DataTypeIdOf<int16_t> { static constexpr DataTypeId value = DataTypeId::INT16; };
template <> struct DataTypeIdOf<uint32_t> { static constexpr DataTypeId value = DataTypeId::UINT32; };
template <> struct DataTypeIdOf<int32_t> { static constexpr DataTypeId value = DataTypeId::INT32; };
template <> struct DataTypeIdOf<uint64_t> { static constexpr DataTypeId value = DataTypeId::UINT64; };
template <> struct DataTypeIdOf<int64_t> { static constexpr DataTypeId value = DataTypeId::INT64; };
template <> struct DataTypeIdOf<float> { static constexpr DataTypeId value = DataTypeId::FLOAT; };
template <> struct DataTypeIdOf<double> { static constexpr DataTypeId value = DataTypeId::DOUBLE; };
} // namespace detail

/// Id of the scalar data type that holds a C++ element type: dataTypeIdOf<uint16_t> is DataTypeId::UINT16.
template <typename T> inline constexpr DataTypeId dataTypeIdOf = detail::DataTypeIdOf<T>::value;
#endif

} // namespace zarnik
