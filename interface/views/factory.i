%header %{
#include "zarnik/views/ImageViewFactory.h"
%}

// The number of arguments tells the overloads apart, so whatever is no shape is refused by the conversion itself.
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) zarnik::VectorXu64 const &shape {
  $1 = 1;
}

%include "zarnik/views/ImageViewFactory.h"

%clear zarnik::VectorXu64 const &shape;
