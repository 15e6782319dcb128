#pragma once

#include "zarnik/values/DataType.h"

namespace zarnik::python {

/// The element type of arrays with a NumPy type number.
/// \throws Error "Unsupported numpy data type" for a number without one
DataType dataTypeOfNumpy(int typeNumber);

/// The NumPy type number of a scalar type; 0 for a type that NumPy has no number for.
int numpyTypeOf(DataType scalarType);

} // namespace zarnik::python
