#include "zarnik/metadata/VariantDataValue.h"

namespace zarnik {

VariantDataValue::~VariantDataValue() = default;

} // namespace zarnik
