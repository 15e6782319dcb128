// The names of the vector types and the rules for arguments and results of them; the classes come in vectors.i.
%define %for_each_element_type(MACRO)
MACRO(uint8_t, u8)
MACRO(int8_t, i8)
MACRO(uint16_t, u16)
MACRO(int16_t, i16)
MACRO(uint32_t, u32)
MACRO(int32_t, i32)
MACRO(uint64_t, u64)
MACRO(int64_t, i64)
MACRO(float, f)
MACRO(double, d)
%enddef

%header %{
#include "zarnik/values/Vector.h"
#include "zarnik/values/VectorX.h"
%}

// A reference into a library object is handed out as a copy: the object may go before its reader.
%define %copied_result(TYPE...)
%typemap(out, noblock=1) TYPE const & {
  $result = zarnik::python::wrapCopy(*$1, $descriptor(TYPE *));
}
%enddef

// In-place operators return their object itself.
%define %handed_over_result(TYPE...)
%typemap(out, noblock=1) TYPE & {
  $result = zarnik::python::handOver(swig_obj[0], $1, $descriptor(TYPE *));
}
%enddef

%define %declare_vectors(TYPE, SUFFIX)
%documented_as(Vector2, SUFFIX, zarnik::Vector<TYPE, 2>)
%documented_as(Vector3, SUFFIX, zarnik::Vector<TYPE, 3>)
%documented_as(Vector4, SUFFIX, zarnik::Vector<TYPE, 4>)
%documented_as(VectorX, SUFFIX, zarnik::VectorX<TYPE>)
%documented_as(VectorX, SUFFIX, VectorX<zarnik::Vector<TYPE, 2>::ValueType>)
%documented_as(VectorX, SUFFIX, VectorX<zarnik::Vector<TYPE, 3>::ValueType>)
%documented_as(VectorX, SUFFIX, VectorX<zarnik::Vector<TYPE, 4>::ValueType>)
%documented_as(ArrayX, SUFFIX, zarnik::ArrayX<TYPE>)
%vector_argument(zarnik::Vector<TYPE, 2>)
%vector_argument(zarnik::Vector<TYPE, 3>)
%vector_argument(zarnik::Vector<TYPE, 4>)
%vector_argument(zarnik::VectorX<TYPE>)
%copied_result(zarnik::Vector<TYPE, 2>)
%handed_over_result(zarnik::Vector<TYPE, 2>)
%copied_result(zarnik::Vector<TYPE, 3>)
%handed_over_result(zarnik::Vector<TYPE, 3>)
%copied_result(zarnik::Vector<TYPE, 4>)
%handed_over_result(zarnik::Vector<TYPE, 4>)
%copied_result(zarnik::VectorX<TYPE>)
%handed_over_result(zarnik::VectorX<TYPE>)
%enddef
%for_each_element_type(%declare_vectors)
