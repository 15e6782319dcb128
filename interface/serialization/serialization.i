%header %{
#include "zarnik/serialization/Serialization.h"
#include "zarnik/frames/DataFrameView.h"
%}

// The names under which the header speaks of its values.
namespace zarnik {
%define %name_array(TYPE, SUFFIX)
typedef ArrayX<TYPE> ArrayX ## SUFFIX;
%enddef
%for_each_element_type(%name_array)
typedef Matrix<float, 3> Matrix3f;
typedef Matrix<double, 3> Matrix3d;
typedef Matrix<float, 4> Matrix4f;
typedef Matrix<double, 4> Matrix4d;
}

// The header declares one function for each member of a family by a macro, which takes no comments.
// The class comes in two parts: quoted as a whole it would be taken for a string to be made.
%define %stored_family(FAMILY, MEMBER, NAME, KIND, VALUE, INTO, FROM)
%feature("noautodoc", "1") zarnik::Serialization::encode ## FAMILY ## MEMBER;
%feature("docstring") zarnik::Serialization::encode ## FAMILY ## MEMBER {Encode NAME.

:type VALUE: :py:class:`FAMILY ## MEMBER`
:param VALUE: The value to encode.
:type INTO: :py:class:`StreamAccess`
:param INTO: The stream that takes the bytes.
:raises: Error if the stream does not take all bytes}
%feature("noautodoc", "1") zarnik::Serialization::decode ## FAMILY ## MEMBER;
%feature("docstring") zarnik::Serialization::decode ## FAMILY ## MEMBER {Decode NAME.

:type FROM: :py:class:`StreamAccess`
:param FROM: The stream to read from.
:rtype: :py:class:`FAMILY ## MEMBER`
:return: The value that was stored.
:raises: Error if Zarnik version read from stream is not compatible with current version
:raises: Error if read magic number is invalid
:raises: Error if object to decode is not NAME
:raises: Error if decoding issue (synchronization tag not found)
:raises: Error if data type read from stream is not compatible with requested KIND type}
%enddef
%define %stored_array(TYPE, SUFFIX)
%rename(encode_arrayx ## SUFFIX) zarnik::Serialization::encodeArrayX ## SUFFIX;
%rename(decode_arrayx ## SUFFIX) zarnik::Serialization::decodeArrayX ## SUFFIX;
%stored_family(ArrayX, SUFFIX, an ArrayX, array, src, dst, src)
%enddef
%define %stored_vectors(TYPE, SUFFIX)
%stored_family(Vector2, SUFFIX, a Vector, vector, vect, outStream, inStream)
%stored_family(Vector3, SUFFIX, a Vector, vector, vect, outStream, inStream)
%stored_family(Vector4, SUFFIX, a Vector, vector, vect, outStream, inStream)
%stored_family(VectorX, SUFFIX, a Vector, vector, vect, outStream, inStream)
%enddef
%for_each_element_type(%stored_array)
%for_each_element_type(%stored_vectors)
%stored_family(Matrix, 3f, a Matrix, matrix, mat, outStream, inStream)
%stored_family(Matrix, 3d, a Matrix, matrix, mat, outStream, inStream)
%stored_family(Matrix, 4f, a Matrix, matrix, mat, outStream, inStream)
%stored_family(Matrix, 4d, a Matrix, matrix, mat, outStream, inStream)

%nodefaultctor zarnik::Serialization;
%include "zarnik/serialization/Serialization.h"
