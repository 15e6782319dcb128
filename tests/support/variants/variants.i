// A module of the tests: variant values of all types, and pointers to elements.
%module variants

%begin %{
#include "module/Python.h"
%}

%include <std_common.i>
%include <std_shared_ptr.i>

%header %{
#include "TestVariants.h"
%}

%apply unsigned long long { uint64_t };

// Known by name only: its functions, and its Python class, are _zarnik's.
%shared_ptr(zarnik::VariantDataValue)
%shared_ptr(zarnik::testing::CountingValue)
namespace zarnik {
%nodefaultctor VariantDataValue;
%nodefaultdtor VariantDataValue;
class VariantDataValue {};
} // namespace zarnik

%include "TestVariants.h"
