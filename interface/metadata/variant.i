%header %{
#include "metadata/VariantValues.h"
#include "zarnik/metadata/VariantDataValue.h"
#include "zarnik/metadata/VariantDataValueFactory.h"
%}

%held_by_shared_pointer(zarnik::VariantDataValue)

%rename(get_type) zarnik::VariantDataValue::type;
%rename(get_count) zarnik::VariantDataValue::count;
%rename("%s") zarnik::VariantDataValue::__getitem;

%typemap(doctype) PyObject *__getitem "int, float or str"
%include "zarnik/metadata/VariantDataValue.h"

%extend zarnik::VariantDataValue {
  /// Read an element.
  ///
  /// Integers are read through 32 bits: of wider ones the lower half is seen, as a signed number.
  /// Characters that are no valid text are replaced.
  /// \param index Which element, from 0 up to the count.
  /// \return An int, a float or a str.
  /// \throws IndexError If there is no such element.
  PyObject *__getitem(int index) { return zarnik::python::variantElement(*$self, index); }
}

// A list of strings with a count of its own: what is taken of the strings is told with the conversion.
%typemap(in, noblock=1) char const **values (zarnik::python::StringPointers strings) {
  if (!zarnik::python::readStringPointers($input, strings)) SWIG_fail;
  $1 = const_cast<$1_ltype>(strings.pointers.data());
}
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_STRING_ARRAY) char const **values {
  $1 = zarnik::python::isStringSequence($input);
}
%typemap(freearg, noblock=1) char const **values {
  strings$argnum.held.settle(resultobj, "$symname");
}
%typemap(doctype) char const **values "sequence of str"
%exception zarnik::VariantDataValueFactory::create(char const **, size_t) {
  try {
    result = zarnik::python::variantFromStrings(strings1, arg2);
  } catch (...) {
    zarnik::python::translateException();
    SWIG_fail;
  }
}
%exception zarnik::VariantDataValueFactory::create(PyObject *) {
  try {
    $action
  } catch (...) {
    zarnik::python::translateException();
  }
  if (PyErr_Occurred()) SWIG_fail;
}

// The overloads are tried in the order of their declarations, which the generator does not keep by itself.
%define %element_pointer(TYPE, PLACE)
%typemap(typecheck, noblock=1, precedence=PLACE) TYPE const *values {
  $1 = SWIG_CheckState(SWIG_ConvertPtr($input, 0, $1_descriptor, 0));
}
%typemap(check, noblock=1) TYPE const *values {
  if (!$1) { %argument_nullref("$type", $symname, $argnum); }
}
%enddef
%element_pointer(uint8_t, 0)
%element_pointer(uint16_t, 1)
%element_pointer(uint32_t, 2)
%element_pointer(uint64_t, 3)
%element_pointer(int8_t, 4)
%element_pointer(int16_t, 5)
%element_pointer(int32_t, 6)
%element_pointer(int64_t, 7)
%element_pointer(float, 8)
%element_pointer(double, 9)
%typemap(doctype) PyObject *object "str, int, float or sequence"
%nodefaultctor zarnik::VariantDataValueFactory;
%include "zarnik/metadata/VariantDataValueFactory.h"

%extend zarnik::VariantDataValueFactory {
  /// Create a value from a Python object.
  ///
  /// A str gives one string, an int a signed 32-bit integer, a float a double. A sequence of them gives as many
  /// strings, signed 64-bit integers or doubles; its first item decides which. An int of a sequence that does not
  /// fit 32 bits, or an item that is no such number, is stored as -1.
  /// \param object The object to take the elements from.
  /// \return A new value.
  /// \throws ValueError If the object, or the first item of a sequence, is of another type, or a sequence is empty.
  static std::shared_ptr<zarnik::VariantDataValue> create(PyObject *object) {
    return zarnik::python::variantFromObject(object);
  }
}

%clear char const **values;
