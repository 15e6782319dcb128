#include "direct/Functions.h"
#include "direct/TypeTable.h"
#include "module/CausedError.h"
#include "zarnik/metadata/MetadataNode.h"

#include <memory>
#include <utility>

namespace zarnik::python {

namespace {

swig_type_info * nodeType() {
  static auto * const type = findType("std::shared_ptr< zarnik::MetadataNode > *");
  return type;
}

std::shared_ptr<MetadataNode const> made(KeptObject const & function) {
  WithLock const lock;
  auto const result = Reference::steal(PyObject_CallFunctionObjArgs(function.get(), nullptr));
  auto node = result ? sharedPointer<MetadataNode>(result.get(), nodeType()) : nullptr;
  if (result && !node)
    PyErr_Format(PyExc_TypeError, "deferred metadata became %R, which is no MetadataNode", result.get());
  if (!node)
    throw CausedError("cannot make the metadata");
  return node;
}

PyObject * deferredMetadata(PyObject *, PyObject * function) {
  return guarded([&]() -> PyObject * {
    auto kept = std::make_shared<KeptObject>(Reference::share(function));
    return wrapShared(MetadataNode::deferred({}, [kept = std::move(kept)] { return made(*kept); }), nodeType());
  });
}

PyMethodDef methods[] = {{"deferred_metadata", deferredMetadata, METH_O,
                          "deferred_metadata(make)\n\nReturns a MetadataNode whose children are those of the node that "
                          "make() returns, which "
                          "is called once, when they are first asked for, on whichever thread that is."},
                         {}};
DirectFunctions const registered(methods);

} // namespace

} // namespace zarnik::python
