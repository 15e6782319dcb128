%header %{
#include "values/ArrayConversions.h"
#include "zarnik/values/ArrayX.h"
%}

// The indexer's class is registered later; its name is all that is needed here.
%typemap(in, noblock=1) Indexer const & {
  $1 = static_cast<zarnik::Indexer *>(zarnik::python::wrappedPointer($input, $descriptor(zarnik::Indexer *)));
  if (!$1) { %argument_fail(SWIG_TypeError, "$type", $symname, $argnum); }
}
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) Indexer const & {
  $1 = $input != Py_None && zarnik::python::wrappedPointer($input, $descriptor(zarnik::Indexer *));
}
%typemap(out, noblock=1) Indexer const & {
  $result = zarnik::python::wrapCopy(*$1, $descriptor(zarnik::Indexer *));
}
%typemap(doctype) Indexer const & ":py:class:`Indexer`"

// A shape is the last guess: an array may be a sequence itself.
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_VECTOR) zarnik::VectorXu64 const & {
  $1 = zarnik::python::isVector($input, $descriptor(zarnik::VectorXu64 *));
}

// The second argument, for the message, is the wrapper's own name.
%typemap(in, noblock=1) (PyObject *array, char const *wrapper) {
  $1 = $input;
  $2 = const_cast<char *>("$symname");
}
%typemap(doctype) (PyObject *array, char const *wrapper) "numpy.ndarray"
// It may raise Python errors of its own.
%exception zarnik::ArrayX::fromNumpy {
  try {
    $action
  } catch (...) {
    zarnik::python::translateException();
    SWIG_fail;
  }
  if (!result) SWIG_fail;
}
%newobject zarnik::ArrayX::fromNumpy;
%extend zarnik::ArrayX {
  %rename(_to_numpy) toNumpy;
  /// Expose the array as a Numpy array that shares its memory.
  ///
  /// Reshaping the array afterwards leaves the Numpy array as it is.
  /// \param owner The object that the Numpy array keeps alive. The memory lives as long as the Numpy array anyway.
  /// \return A Numpy array over the memory of the array.
  PyObject *toNumpy(PyObject *owner) { return zarnik::python::toNumpy(*$self, owner); }

  /// Allows to convert a Numpy array into an ArrayX.
  ///
  /// The elements are copied. A C-contiguous array gives the C layout, a Fortran-contiguous one the FORTRAN layout.
  /// \param array A contiguous Numpy array of the element type.
  /// \return A new array of the same shape.
  /// \throws TypeError If the argument is no Numpy array.
  /// \throws SystemError If the array has another element type, or is not contiguous; its cause is a ValueError.
  /// \throws Error If the element type is none of those of the ArrayX classes.
  static zarnik::ArrayX<T> *fromNumpy(PyObject *array, char const *wrapper) {
    return zarnik::python::fromNumpy<T>(array, wrapper);
  }
}

%include "zarnik/values/ArrayX.h"
%define %array(TYPE, SUFFIX)
// None reaches the moving constructor, which is the one to refuse it.
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) zarnik::ArrayX<TYPE> && {
  $1 = $input == Py_None || zarnik::python::wrappedPointer($input, $descriptor(zarnik::ArrayX<TYPE> *));
}
%template(ArrayX ## SUFFIX) zarnik::ArrayX<TYPE>;
%enddef
%for_each_element_type(%array)

%clear Indexer const &;
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) zarnik::VectorXu64 const & {
  $1 = zarnik::python::isVector($input, $descriptor(zarnik::VectorXu64 *));
}
