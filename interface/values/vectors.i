%include "zarnik/values/Vector.h"

%define %vector2(TYPE, SUFFIX)
%template(Vector2 ## SUFFIX) zarnik::Vector<TYPE, 2>;
%enddef
%define %vector3(TYPE, SUFFIX)
%template(Vector3 ## SUFFIX) zarnik::Vector<TYPE, 3>;
%enddef
%define %vector4(TYPE, SUFFIX)
%template(Vector4 ## SUFFIX) zarnik::Vector<TYPE, 4>;
%enddef
%define %vectorX(TYPE, SUFFIX)
%template(VectorX ## SUFFIX) zarnik::VectorX<TYPE>;
%enddef

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
