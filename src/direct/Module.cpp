// zarnik._direct: what the package does for every access to an image, in one call instead of ten flat ones, with the
// interpreter's lock given up while much is moved. The flat names are an interface of their own, which stays what it
// is.

#include "direct/Functions.h"
#include "direct/TypeTable.h"
#include "module/NumpyApi.h"
#include "module/Reference.h"

#include <vector>

namespace zarnik::python {

namespace {

std::vector<PyMethodDef *> & allFunctions() {
  static std::vector<PyMethodDef *> lists;
  return lists;
}

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT,
    "zarnik._direct",
    "What every access to an image needs, in one call of an extension module instead of ten flat ones.",
    -1,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr};

PyObject * createModule() {
  // The flat module's types are what the functions take.
  if (!Reference::steal(PyImport_ImportModule("_zarnik")) || !importNumpy() || !joinTypeTable())
    return nullptr;
  auto module = Reference::steal(PyModule_Create(&definition));
  for (auto * const functions : allFunctions())
    if (!module || PyModule_AddFunctions(module.get(), functions) != 0)
      return nullptr;
  return module.release();
}

} // namespace

DirectFunctions::DirectFunctions(PyMethodDef * methods) { allFunctions().push_back(methods); }

} // namespace zarnik::python

// NOLINTNEXTLINE(bugprone-reserved-identifier): the interpreter looks for this name
PyMODINIT_FUNC PyInit__direct() { return zarnik::python::createModule(); }
