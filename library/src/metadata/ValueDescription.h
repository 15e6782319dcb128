#pragma once

#include <string>

namespace zarnik {

class VariantDataValue;

/// What a value looks like in a printed tree: 5, [1, 2, 3], "text"; of more than 16 elements the first ones and how
/// many of what type there are.
std::string describeValue(VariantDataValue const & value);

} // namespace zarnik
