#include "metadata/ValueDescription.h"

#include "zarnik/metadata/VariantDataValue.h"
#include "zarnik/metadata/VariantDataValueConverter.h"

#include <algorithm>
#include <fmt/format.h>

namespace zarnik {

std::string describeValue(VariantDataValue const & value) {
  constexpr size_t shownElements = 16;
  bool const isText = value.type().primitiveType() == PrimitiveTypeId::UNICODE_STRING;
  auto const element = [&](size_t index) {
    auto const text = VariantDataValueConverter::toText(value, index);
    return isText ? fmt::format("{:?}", text) : text;
  };
  size_t const count = value.count();
  if (count == 1)
    return element(0);
  std::string text = "[";
  for (size_t i = 0; i < std::min(count, shownElements); ++i)
    text += (i == 0 ? "" : ", ") + element(i);
  if (count > shownElements)
    text += fmt::format(", ... {} elements of {}", count, value.type().toString());
  return text + "]";
}

} // namespace zarnik
