#include "zarnik/metadata/VariantDataValueConverter.h"

#include "core/Guarded.h"
#include "zarnik/metadata/VariantDataValue.h"

#include <fmt/format.h>
#include <string_view>
#include <type_traits>
#include <utility>

namespace zarnik {

namespace {

/// Calls the visitor with the element as its own type: a number, or a pointer to characters.
template <typename Visitor> auto visitElement(VariantDataValue const & value, size_t index, Visitor && visitor) {
  if (index >= value.count())
    throw InvalidArgument(message("element {} of a metadata value of {} elements", index, value.count()));
  auto const at = [&]<typename T>(T const *) { return visitor(static_cast<T const *>(value.raw())[index]); };
  switch (DataTypeId{value.type().id()}) {
  case DataTypeId::UINT8:
    return at(static_cast<uint8_t const *>(nullptr));
  case DataTypeId::UINT16:
    return at(static_cast<uint16_t const *>(nullptr));
  case DataTypeId::UINT32:
    return at(static_cast<uint32_t const *>(nullptr));
  case DataTypeId::UINT64:
    return at(static_cast<uint64_t const *>(nullptr));
  case DataTypeId::INT8:
    return at(static_cast<int8_t const *>(nullptr));
  case DataTypeId::INT16:
    return at(static_cast<int16_t const *>(nullptr));
  case DataTypeId::INT32:
    return at(static_cast<int32_t const *>(nullptr));
  case DataTypeId::INT64:
    return at(static_cast<int64_t const *>(nullptr));
  case DataTypeId::FLOAT:
    return at(static_cast<float const *>(nullptr));
  case DataTypeId::DOUBLE:
    return at(static_cast<double const *>(nullptr));
  case DataTypeId::UTF8_STRING:
    return at(static_cast<char const * const *>(nullptr));
  case DataTypeId::UTF16_STRING:
    return at(static_cast<char16_t const * const *>(nullptr));
  case DataTypeId::UTF32_STRING:
    return at(static_cast<char32_t const * const *>(nullptr));
  default:
    throw InvalidArgument(message("metadata value of type {} has no readable elements", value.type().toString()));
  }
}

[[noreturn]] void refuseText(char const * wanted) {
  throw InvalidArgument(message("metadata value is text where {} is wanted", wanted));
}

template <typename Number> [[noreturn]] void refuseNumber(Number number, bool toSigned) {
  throw InvalidArgument(
      message("metadata value {} is not {} 64-bit integer", number, toSigned ? "a signed" : "an unsigned"));
}

template <typename Integer> Integer toInteger(VariantDataValue const & value, size_t index) {
  return visitElement(value, index, [](auto element) -> Integer {
    using Element = decltype(element);
    constexpr bool toSigned = std::is_signed_v<Integer>;
    if constexpr (std::is_pointer_v<Element>) {
      refuseText("an integer");
    } else if constexpr (std::is_floating_point_v<Element>) {
      // The limits are powers of two and thus exact; NaN fails both comparisons.
      double const number = element;
      double const limit = toSigned ? 0x1p63 : 0x1p64;
      if (!(number >= (toSigned ? -limit : 0.0) && number < limit))
        refuseNumber(element, toSigned);
      auto const integer = static_cast<Integer>(number);
      if (static_cast<double>(integer) != number)
        refuseNumber(element, toSigned);
      return integer;
    } else {
      if (!std::in_range<Integer>(element))
        refuseNumber(element, toSigned);
      return static_cast<Integer>(element);
    }
  });
}

void appendUtf8(std::string & text, uint32_t code) {
  constexpr uint32_t replacement = 0xFFFD;
  if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
    code = replacement;
  auto const tail = [&](unsigned shift) { text += static_cast<char>(0x80U | ((code >> shift) & 0x3FU)); };
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += static_cast<char>(0xC0U | (code >> 6U));
    tail(0);
  } else if (code < 0x10000) {
    text += static_cast<char>(0xE0U | (code >> 12U));
    tail(6);
    tail(0);
  } else {
    text += static_cast<char>(0xF0U | (code >> 18U));
    tail(12);
    tail(6);
    tail(0);
  }
}

std::string textOf(char const * text) { return text; }

std::string textOf(char32_t const * text) {
  std::string result;
  for (; *text != 0; ++text)
    appendUtf8(result, *text);
  return result;
}

std::string textOf(char16_t const * text) {
  std::string result;
  for (; *text != 0; ++text) {
    uint32_t code = *text;
    bool const isPair = code >= 0xD800 && code < 0xDC00 && text[1] >= 0xDC00 && text[1] <= 0xDFFF;
    if (isPair)
      code = 0x10000 + ((code - 0xD800) << 10U) + (*++text - 0xDC00U);
    appendUtf8(result, code);
  }
  return result;
}

} // namespace

int64_t VariantDataValueConverter::toInt64(VariantDataValue const & value, size_t index) {
  return toInteger<int64_t>(value, index);
}

uint64_t VariantDataValueConverter::toUInt64(VariantDataValue const & value, size_t index) {
  return toInteger<uint64_t>(value, index);
}

double VariantDataValueConverter::toDouble(VariantDataValue const & value, size_t index) {
  return visitElement(value, index, [](auto element) -> double {
    if constexpr (std::is_pointer_v<decltype(element)>)
      refuseText("a number");
    else
      return static_cast<double>(element);
  });
}

std::string VariantDataValueConverter::toText(VariantDataValue const & value, size_t index) {
  return guarded([&] {
    return visitElement(value, index, [](auto element) -> std::string {
      if constexpr (std::is_pointer_v<decltype(element)>)
        return textOf(element);
      else
        return fmt::format("{}", element);
    });
  });
}

} // namespace zarnik
