// Capability sets: one template for every enumeration of flags.
%header %{
#include "views/Arguments.h"
#include "zarnik/access/AccessCapabilities.h"
#include "zarnik/access/RandomAccessCapability.h"
#include "zarnik/access/SeekOrigin.h"
#include "zarnik/access/StreamAccessCapability.h"
%}

// A set by value is a wrapped set or an int that is its mask.
%define %flag_set(FOLDER, FLAG)
%typemap(in, noblock=1) zarnik::FlagSet<zarnik::FLAG> (int res = 0) {
  res = zarnik::python::readFlags($input, $descriptor(zarnik::FlagSet<zarnik::FLAG> *), $1);
  if (!SWIG_IsOK(res)) {
    %argument_fail(res, "$type", $symname, $argnum);
  }
}
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) zarnik::FlagSet<zarnik::FLAG> {
  $1 = PyLong_Check($input) || zarnik::python::wrappedPointer($input, $descriptor(zarnik::FlagSet<zarnik::FLAG> *));
}
%handed_over_result(zarnik::FlagSet<zarnik::FLAG>)
%documented_as(FLAG, Set, zarnik::FlagSet<zarnik::FLAG>)
%typemap(doctype, noblock=1) zarnik::FlagSet<zarnik::FLAG> flags, zarnik::FlagSet<zarnik::FLAG> other,
                             zarnik::FlagSet<zarnik::FLAG> capabilities {:py:class:`FLAG ## Set` or int}
%include "zarnik/FOLDER/FLAG.h"
// Outside of the namespace: the constructors' prototypes then show the enumeration as it stands here.
%template(FLAG ## Set) zarnik::FlagSet<FLAG>;
%enddef

%include "zarnik/core/FlagSet.h"

%include "zarnik/access/AccessCapabilities.h"
%flag_set(access, StreamAccessCapability)
%include "zarnik/access/SeekOrigin.h"
%flag_set(access, RandomAccessCapability)
