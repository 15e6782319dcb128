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
constexpr bool longHas64Bits = sizeof(long) == 8;
constexpr NumpyType table[] = {
    {NPY_BYTE, DataTypeId::INT8},
    {NPY_UBYTE, DataTypeId::UINT8},
    {NPY_SHORT, DataTypeId::INT16},
    {NPY_USHORT, DataTypeId::UINT16},
    {longHas64Bits ? NPY_INT : NPY_LONG, DataTypeId::INT32},
    {longHas64Bits ? NPY_UINT : NPY_ULONG, DataTypeId::UINT32},
    {longHas64Bits ? NPY_LONG : NPY_LONGLONG, DataTypeId::INT64},
    {longHas64Bits ? NPY_ULONG : NPY_ULONGLONG, DataTypeId::UINT64},
    {NPY_FLOAT, DataTypeId::FLOAT},
    {NPY_DOUBLE, DataTypeId::DOUBLE},
};

} // namespace

DataType dataTypeOfNumpy(int typeNumber) {
  auto const found =
      std::find_if(std::begin(table), std::end(table), [&](auto const & row) { return row.number == typeNumber; });
  if (found == std::end(table))
    throw Error("Unsupported numpy data type");
  return DataType(found->id);
}

int numpyTypeOf(DataType scalarType) {
  auto const found = std::find_if(std::begin(table), std::end(table),
                                  [&](auto const & row) { return DataType(row.id) == scalarType; });
  return found == std::end(table) ? NPY_BOOL : found->number;
}

} // namespace zarnik::python
