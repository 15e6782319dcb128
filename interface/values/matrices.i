%header %{
#include "zarnik/values/TransformMatrixFactory.h"
%}

%include "zarnik/values/Matrix.h"
%template(Matrix3f) zarnik::Matrix<float, 3>;
%template(Matrix3d) zarnik::Matrix<double, 3>;
%template(Matrix4f) zarnik::Matrix<float, 4>;
%template(Matrix4d) zarnik::Matrix<double, 4>;

%include "zarnik/values/TransformMatrixFactory.h"
