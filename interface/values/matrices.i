%header %{
#include "zarnik/values/TransformMatrixFactory.h"
%}

%include "zarnik/values/Matrix.h"
%define %matrix(SUFFIX, TYPE, SIZE)
%documented_as(Matrix, SUFFIX, zarnik::Matrix<TYPE, SIZE>)
%handed_over_result(zarnik::Matrix<TYPE, SIZE>)
%template(Matrix ## SUFFIX) zarnik::Matrix<TYPE, SIZE>;
%enddef
%matrix(3f, float, 3)
%matrix(3d, double, 3)
%matrix(4f, float, 4)
%matrix(4d, double, 4)

%include "zarnik/values/TransformMatrixFactory.h"
