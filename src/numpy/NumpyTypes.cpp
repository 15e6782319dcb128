#include "numpy/NumpyTypes.h"

#include "module/NumpyApi.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <iterator>

namespace zarnik::python {

namespace {

struct NumpyType {
  int number;
  DataTypeId id;
};

// One number for each kind and size, the one that numpy.int32, numpy.uint64 and the like carry: C's long is 32 bits
// wide on some platforms and 64 on others, and long long is the second 64-bit type where long has 64.
constexpr bool LONG_HAS_64_BITS = sizeof(long) == 8;
constexpr NumpyType TABLE[] = {
    {NPY_BYTE, DataTypeId::INT8},
    {NPY_UBYTE, DataTypeId::UINT8},
    {NPY_SHORT, DataTypeId::INT16},
    {NPY_USHORT, DataTypeId::UINT16},
    {LONG_HAS_64_BITS ? NPY_INT : NPY_LONG, DataTypeId::INT32},
    {LONG_HAS_64_BITS ? NPY_UINT : NPY_ULONG, DataTypeId::UINT32},
    {LONG_HAS_64_BITS ? NPY_LONG : NPY_LONGLONG, DataTypeId::INT64},
    {LONG_HAS_64_BITS ? NPY_ULONG : NPY_ULONGLONG, DataTypeId::UINT64},
    {NPY_FLOAT, DataTypeId::FLOAT},
    {NPY_DOUBLE, DataTypeId::DOUBLE},
};

} // namespace

DataType dataTypeOfNumpy(int typeNumber) {
  auto const found =
      std::find_if(std::begin(TABLE), std::end(TABLE), [&](auto const & row) { return row.number == typeNumber; });
  if (found == std::end(TABLE))
    throw Error("Unsupported numpy data type");
  return DataType(found->id);
}

int numpyTypeOf(DataType scalarType) {
  auto const found = std::find_if(std::begin(TABLE), std::end(TABLE),
                                  [&](auto const & row) { return DataType(row.id) == scalarType; });
  return found == std::end(TABLE) ? NPY_BOOL : found->number;
}

} // namespace zarnik::python
