// The flat module. The order of the %includes is the order of registration, which is part of its interface.
%module(moduleimport="import _zarnik") _classes

%begin %{
// First of all includes: chooses the stable ABI.
#include "module/Python.h"

#include "module/Registration.h"
#include "module/TypeCreation.h"

// The runtime sets one attribute, `this` of a new instance. It does so by way of the class's own method, which is
// Python code that guards against misspelt attributes, and has the interpreter forget what it knows of the class.
#define PyObject_SetAttr PyObject_GenericSetAttr
#define PyType_Modified(type) static_cast<void>(type)
%}

%include <std_common.i>
%include <std_string.i>
%include <std_shared_ptr.i>
%include <exception.i>

%header %{
#include <cstdint>
#include <memory>

#include "zarnik/core/Error.h"

// Some headers name classes that the generator reads later; it then writes the names as it found them.
using namespace zarnik;
%}

%include "runtime.i"
%include "conversions.i"
// Comes with a net of its own, which lets StopIteration through.
%include <pyiterators.swg>

// Functions without a comment of their own show their signature.
%feature("autodoc", "0");
%rename("%(undercase)s", %$isfunction, %$not %$isconstructor, %$not %$isdestructor) "";
%install_exception_net()
%include "zarnik/core/Export.h"
%include "zarnik/core/Query.h"

%include "values/vector_arguments.i"

%include "core/core.i"
%include "values/datatype.i"
%include "values/vectors.i"
%include "values/matrices.i"
%include "values/regions.i"
%include "values/arrays.i"
%include "values/indexer.i"
%include "core/uid.i"
%include "values/imagetype.i"
%include "metadata/variant.i"
%include "metadata/nodes.i"
%include "metadata/properties.i"
%include "access/capabilities.i"
%include "access/access.i"
%include "views/extensions.i"
%include "views/image_view.i"
%include "views/capabilities.i"
%include "views/multi_image.i"
%include "views/lod.i"
%include "views/factory.i"
%include "frames/frames.i"
%include "views/writer.i"
%include "serialization/serialization.i"
%include "numpy/numpy.i"
%include "views/dependency_graph.i"
