#pragma once

#include "zarnik/frames/Arrow.h"
#include "zarnik/values/DataType.h"

#include <string_view>

namespace zarnik {

/// The entry of a field's metadata that names the unit.
inline constexpr std::string_view ARROW_UNIT_KEY = "unit";

/// The format of a column in Arrow, empty if there is none. Texts have offsets of 64 bits.
std::string_view arrowFormat(DataType dataType);

/// The type of the cells of an Arrow column; the opaque type if a table cannot hold them.
DataType typeOfArrowFormat(std::string_view format);

/// What an Arrow format is called, such as "timestamp".
std::string_view nameOfArrowFormat(std::string_view format);

} // namespace zarnik
