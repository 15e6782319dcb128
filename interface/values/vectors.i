// The module-level operators carry no docstring.
%feature("noautodoc", "1") zarnik::operator*;
%feature("noautodoc", "1") zarnik::operator|;
%feature("noautodoc", "1") zarnik::operator&;
%feature("noautodoc", "1") zarnik::operator^;

// Vectors may be sequences, too: one of another class is left to the overload of its own.
%define %operand_of_own_class(VECTOR...)
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) VECTOR const & operand {
  $1 = zarnik::python::wrappedPointer($input, $descriptor(VECTOR *)) ||
       (!zarnik::python::isWrapped($input) && zarnik::python::isVector($input, $descriptor(VECTOR *)));
}
%enddef

// The header writes the name of the run-time sized vector before the generator knows it. Only a vector of that class
// is meant here, so that a sequence is taken by the copying constructor, which looks at its length.
%define %run_time_vector_argument(TYPE, COUNT)
%typemap(in, noblock=1) VectorX<zarnik::Vector<TYPE, COUNT>::ValueType> const & {
  $1 = static_cast<zarnik::VectorX<TYPE> *>(zarnik::python::wrappedPointer($input, $descriptor(zarnik::VectorX<TYPE> *)));
  if (!$1) { %argument_fail(SWIG_TypeError, "$type", $symname, $argnum); }
}
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) VectorX<zarnik::Vector<TYPE, COUNT>::ValueType> const & {
  $1 = $input != Py_None && zarnik::python::wrappedPointer($input, $descriptor(zarnik::VectorX<TYPE> *));
}
%enddef

%define %vector2(TYPE, SUFFIX)
%run_time_vector_argument(TYPE, 2)
%operand_of_own_class(zarnik::Vector<TYPE, 2>)
%template(Vector2 ## SUFFIX) zarnik::Vector<TYPE, 2>;
%enddef
%define %vector3(TYPE, SUFFIX)
%run_time_vector_argument(TYPE, 3)
%operand_of_own_class(zarnik::Vector<TYPE, 3>)
%template(Vector3 ## SUFFIX) zarnik::Vector<TYPE, 3>;
%enddef
%define %vector4(TYPE, SUFFIX)
%run_time_vector_argument(TYPE, 4)
%operand_of_own_class(zarnik::Vector<TYPE, 4>)
%template(Vector4 ## SUFFIX) zarnik::Vector<TYPE, 4>;
%enddef
%define %vectorX(TYPE, SUFFIX)
%operand_of_own_class(zarnik::VectorX<TYPE>)
%template(VectorX ## SUFFIX) zarnik::VectorX<TYPE>;
%enddef

%include "zarnik/values/Vector.h"
%for_each_element_type(%vector2)
%for_each_element_type(%vector3)
%for_each_element_type(%vector4)

%include "zarnik/values/VectorX.h"
%for_each_element_type(%vectorX)

namespace zarnik {
%define %name_vectors(TYPE, SUFFIX)
typedef Vector<TYPE, 2> Vector2 ## SUFFIX;
typedef Vector<TYPE, 3> Vector3 ## SUFFIX;
typedef Vector<TYPE, 4> Vector4 ## SUFFIX;
typedef VectorX<TYPE> VectorX ## SUFFIX;
%enddef
%for_each_element_type(%name_vectors)
}
