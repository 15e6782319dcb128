// A module of the tests: shares types and objects with _zarnik through the process-wide type table.
%module typetable

%begin %{
#include "module/Python.h"

#include "module/TypeCreation.h"
%}

%include <std_common.i>
%include <std_string.i>
%include <std_shared_ptr.i>

%header %{
#include "FrameObjects.h"
#include "TestObjects.h"
%}

%apply unsigned long long { uint64_t };

// Known by name only: the functions of these classes, and their Python classes, are _zarnik's.
%nodefaultctor;
%nodefaultdtor;
%shared_ptr(zarnik::View)
%shared_ptr(zarnik::ImageView)
%shared_ptr(zarnik::testing::CountingView)
%shared_ptr(zarnik::testing::GatedView)
%shared_ptr(zarnik::testing::ThrowingView)
%shared_ptr(zarnik::testing::TiledView)
%shared_ptr(zarnik::DataFrameView)
%shared_ptr(zarnik::testing::OddFrame)
%shared_ptr(zarnik::Writer)
%shared_ptr(zarnik::testing::StringWriter)
%shared_ptr(zarnik::VariantDataValue)
%shared_ptr(zarnik::testing::CountingValue)
namespace zarnik {
class Error {};
struct VersionInfo {};
class Indexer {};
class View {};
class ImageView : public View {};
class DataFrameView : public View {};
class Writer {};
class VariantDataValue {};
} // namespace zarnik
%clearnodefaultctor;
%clearnodefaultdtor;

%typemap(out) char *wrappedCharacters "$result = SWIG_NewPointerObj($1, $descriptor(char *), 0);"
%newobject zarnik::testing::undecodableError;
%include "FrameObjects.h"
%include "TestObjects.h"
