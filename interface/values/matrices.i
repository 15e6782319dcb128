%header %{
#include "zarnik/values/TransformMatrixFactory.h"
%}

%include "zarnik/values/Matrix.h"
%define %matrix(NAME, TYPE, SIZE)
%handed_over_result(zarnik::Matrix<TYPE, SIZE>)
%template(NAME) zarnik::Matrix<TYPE, SIZE>;
%enddef
%matrix(Matrix3f, float, 3)
%matrix(Matrix3d, double, 3)
%matrix(Matrix4f, float, 4)
%matrix(Matrix4d, double, 4)

%include "zarnik/values/TransformMatrixFactory.h"
