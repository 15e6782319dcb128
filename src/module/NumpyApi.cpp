#include "module/NumpyApi.h"

#include "module/Reference.h"

#include <cstdint>

// The symbols that NumPy's headers declare for PY_ARRAY_UNIQUE_SYMBOL; import_array() would define them, but it
// knows neither the messages nor the ABI rule of this module.
extern "C" {
void ** PyArray_API = nullptr;
int PyArray_RUNTIME_VERSION = 0;
}

namespace zarnik::python {

namespace {

constexpr unsigned COMPILED_ABI = 0x1000009;
constexpr unsigned SECOND_ABI = 0x2000000;
constexpr unsigned COMPILED_API = 0xD;

// NumPy 2 moved the module and warns when it is imported under the old name; before 1.26 only the old name exists.
Reference importCore() {
  constexpr char name[] = "numpy.core._multiarray_umath";
  if (!PyDict_GetItemString(PyImport_GetModuleDict(), name)) {
    auto core = Reference::steal(PyImport_ImportModule("numpy._core._multiarray_umath"));
    if (core || !PyErr_ExceptionMatches(PyExc_ImportError))
      return core;
    PyErr_Clear();
  }
  return Reference::steal(PyImport_ImportModule(name));
}

bool checkVersions() {
  auto const abi = PyArray_GetNDArrayCVersion();
  if (abi != COMPILED_ABI && abi != SECOND_ABI) {
    PyErr_Format(PyExc_RuntimeError, "module compiled against ABI version 0x%x but this version of numpy is 0x%x",
                 static_cast<int>(COMPILED_ABI), static_cast<int>(abi));
    return false;
  }
  auto const api = PyArray_GetNDArrayCFeatureVersion();
  if (api < COMPILED_API) {
    PyErr_Format(PyExc_RuntimeError, "module compiled against API version 0x%x but this version of numpy is 0x%x",
                 static_cast<int>(COMPILED_API), static_cast<int>(api));
    return false;
  }
  PyArray_RUNTIME_VERSION = static_cast<int>(api);

  auto const endianness = PyArray_GetEndianness();
  if (endianness == NPY_CPU_UNKNOWN_ENDIAN) {
    PyErr_SetString(PyExc_RuntimeError, "FATAL: module compiled as unknown endian");
    return false;
  }
  if (endianness != NPY_CPU_LITTLE) {
    PyErr_SetString(PyExc_RuntimeError,
                    "FATAL: module compiled as little endian, but detected different endianness at runtime");
    return false;
  }
  return true;
}

bool loadTable() {
  auto const core = importCore();
  if (!core)
    return false;
  auto const capsule = Reference::steal(PyObject_GetAttrString(core.get(), "_ARRAY_API"));
  if (!capsule) {
    PyErr_SetString(PyExc_AttributeError, "_ARRAY_API not found");
    return false;
  }
  if (!PyCapsule_CheckExact(capsule.get())) {
    PyErr_SetString(PyExc_RuntimeError, "_ARRAY_API is not PyCapsule object");
    return false;
  }
  PyArray_API = static_cast<void **>(PyCapsule_GetPointer(capsule.get(), nullptr));
  if (!PyArray_API) {
    PyErr_SetString(PyExc_RuntimeError, "_ARRAY_API is NULL pointer");
    return false;
  }
  return checkVersions();
}

} // namespace

bool importNumpy() {
  if (loadTable())
    return true;
  PyErr_Print();
  PyErr_SetString(PyExc_ImportError, "numpy.core.multiarray failed to import");
  return false;
}

} // namespace zarnik::python
