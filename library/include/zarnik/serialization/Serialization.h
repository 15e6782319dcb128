#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/Matrix.h"
#include "zarnik/values/Vector.h"
#include "zarnik/values/VectorX.h"
#endif

#include <memory>

namespace zarnik {

#ifndef SWIG
class DataFrameView;
class ImageView;
class StreamAccess;
#endif

// The order in which the families are registered.
#define ZARNIK_FOR_EACH_STORED_ARRAY(MACRO)                                                                            \
  MACRO(i8) MACRO(i16) MACRO(i32) MACRO(i64) MACRO(u8) MACRO(u16) MACRO(u32) MACRO(u64) MACRO(f) MACRO(d)
#define ZARNIK_FOR_EACH_STORED_VECTOR(MACRO, SIZE)                                                                     \
  MACRO(SIZE##u8)                                                                                                      \
  MACRO(SIZE##u16)                                                                                                     \
  MACRO(SIZE##u32)                                                                                                     \
  MACRO(SIZE##u64)                                                                                                     \
  MACRO(SIZE##i8) MACRO(SIZE##i16) MACRO(SIZE##i32) MACRO(SIZE##i64) MACRO(SIZE##f) MACRO(SIZE##d)
#define ZARNIK_FOR_EACH_STORED_MATRIX(MACRO) MACRO(3f) MACRO(4f) MACRO(3d) MACRO(4d)

#define ZARNIK_ENCODE_ARRAY(SUFFIX)                                                                                    \
  static void encodeArrayX##SUFFIX(ArrayX##SUFFIX const & src, std::shared_ptr<StreamAccess> dst);
#define ZARNIK_DECODE_ARRAY(SUFFIX) static ArrayX##SUFFIX decodeArrayX##SUFFIX(std::shared_ptr<StreamAccess> src);
#define ZARNIK_ENCODE_VECTOR(SUFFIX)                                                                                   \
  static void encodeVector##SUFFIX(Vector##SUFFIX const & vect, std::shared_ptr<StreamAccess> outStream);
#define ZARNIK_DECODE_VECTOR(SUFFIX) static Vector##SUFFIX decodeVector##SUFFIX(std::shared_ptr<StreamAccess> inStream);
#define ZARNIK_ENCODE_MATRIX(SUFFIX)                                                                                   \
  static void encodeMatrix##SUFFIX(Matrix##SUFFIX const & mat, std::shared_ptr<StreamAccess> outStream);
#define ZARNIK_DECODE_MATRIX(SUFFIX) static Matrix##SUFFIX decodeMatrix##SUFFIX(std::shared_ptr<StreamAccess> inStream);

/// Writes values and views to streams of bytes, and reads them back.
///
/// Each call writes or reads one object, in one pass, at the stream's position; a stream that cannot seek will do. A
/// decoder checks the magic number, the version, the kind of the object, its element type, the synchronization tag of
/// each of its sections and the hashes of their blocks, and raises Error where one of them is not right; the stream is
/// then where the fault was found. What an encoder wrote before it failed stays in the stream.
///
/// There is an encoder and a decoder for ArrayX, Vector and Matrix of each element type. An ArrayX keeps its C or
/// FORTRAN layout, any other layout becomes FORTRAN. A Vector of run-time size takes what one of fixed size was stored
/// as, and the reverse if the size is right.
class ZARNIK_API Serialization {
public:
  /// Encode an ImageView: its shape, data type, properties, metadata and samples.
  ///
  /// Memory for about 1 MiB is used beside that of the image.
  /// \param image The image to encode.
  /// \param outStream The stream that takes the bytes.
  /// \throws Error if ImageView has not READ capacity
  /// \throws Error if the stream does not take all bytes
  static void encodeImageView(std::shared_ptr<ImageView> image, std::shared_ptr<StreamAccess> outStream);

  /// Decode an ImageView.
  ///
  /// \param inStream The stream to read from.
  /// \return a in-memory ImageView built from input Stream
  /// \throws Error if Zarnik version read from stream is not compatible with current version
  /// \throws Error if read magic number is invalid
  /// \throws Error if object to decode is not an ImageView
  /// \throws Error if decoding issue (synchronization tag not found)
  static std::shared_ptr<ImageView> decodeImageView(std::shared_ptr<StreamAccess> inStream);

  ZARNIK_FOR_EACH_STORED_ARRAY(ZARNIK_ENCODE_ARRAY)
  ZARNIK_FOR_EACH_STORED_ARRAY(ZARNIK_DECODE_ARRAY)
  ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_ENCODE_VECTOR, 2)
  ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_DECODE_VECTOR, 2)
  ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_ENCODE_VECTOR, 3)
  ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_DECODE_VECTOR, 3)
  ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_ENCODE_VECTOR, 4)
  ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_DECODE_VECTOR, 4)
  ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_ENCODE_VECTOR, X)
  ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_DECODE_VECTOR, X)

  /// Encode a DataFrameView: its columns with their names, units, types and cells.
  ///
  /// \param dataFrame The table to encode.
  /// \param outStream The stream that takes the bytes.
  /// \throws Error if DataFrameView has not READ capacity
  /// \throws Error if the stream does not take all bytes
  static void encodeDataFrameView(std::shared_ptr<DataFrameView> dataFrame, std::shared_ptr<StreamAccess> outStream);

  /// Decode a DataFrameView.
  ///
  /// \param inStream The stream to read from.
  /// \return a in-memory DataFrameView built from input Stream
  /// \throws Error if Zarnik version read from stream is not compatible with current version
  /// \throws Error if read magic number is invalid
  /// \throws Error if object to decode is not a DataFrameView
  /// \throws Error if decoding issue (synchronization tag not found)
  static std::shared_ptr<DataFrameView> decodeDataFrameView(std::shared_ptr<StreamAccess> inStream);

  ZARNIK_FOR_EACH_STORED_MATRIX(ZARNIK_ENCODE_MATRIX)
  ZARNIK_FOR_EACH_STORED_MATRIX(ZARNIK_DECODE_MATRIX)

#ifndef SWIG
  Serialization() = delete;
#endif
};

#undef ZARNIK_ENCODE_ARRAY
#undef ZARNIK_DECODE_ARRAY
#undef ZARNIK_ENCODE_VECTOR
#undef ZARNIK_DECODE_VECTOR
#undef ZARNIK_ENCODE_MATRIX
#undef ZARNIK_DECODE_MATRIX

} // namespace zarnik
