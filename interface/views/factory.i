%header %{
#include "zarnik/core/Progress.h"
#include "zarnik/views/ImageViewFactory.h"
%}

%rename("%s") zarnik::ImageViewFactory::_uniform;
%rename("%s") zarnik::ImageViewFactory::__from_buffer;
%rename(flip_dimension) zarnik::ImageViewFactory::flip(std::shared_ptr<ImageView>, ImageDimension);
%rename(flip_dimension_index) zarnik::ImageViewFactory::flip(std::shared_ptr<ImageView>, size_t);

// The number of arguments tells the overloads apart, so whatever is no shape is refused by the conversion itself.
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) zarnik::VectorXu64 const &shape {
  $1 = 1;
}
// Lists of dimensions; their errors name no method.
%apply (zarnik::ImageDimension const *dimensionList, size_t dimensionCount) {
  (zarnik::ImageDimension const *dimensions, size_t count)
};
%typemap(doctype) zarnik::ImageDimension const *dimensions "list of int"

%extend zarnik::ImageViewFactory {
  /// Create an image of which all samples have the same value, which is kept once.
  ///
  /// The capability is READ.
  /// \param shape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \param src The bytes of the value, of which there are as many as the type has. Their number is not checked.
  /// \param properties The properties, of which the image keeps a copy; None for the default ones.
  /// \param metadata The root node of the metadata, of which the image keeps a copy; may be None.
  /// \return The new image.
  /// \throws Error if the properties do not fit shape and type, or the type is not numeric.
  static std::shared_ptr<zarnik::ImageView> _uniform(zarnik::VectorXu64 const &shape, zarnik::DataType dataType,
                                                     uint8_t const *src, size_t size,
                                                     std::shared_ptr<zarnik::ImageProperties> properties,
                                                     std::shared_ptr<zarnik::MetadataNode const> metadata) {
    (void)size;
    return zarnik::ImageViewFactory::uniform(shape, dataType, src, properties, metadata);
  }

  /// Create an image over the memory of a buffer, the first dimension fastest, without gaps.
  ///
  /// Capabilities are READ, WRITE and MEMORY_ACCESS. The buffer is not kept: it has to live as long as the image.
  /// \param shape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \param buffer The memory, of at least as many bytes as the samples have.
  /// \param properties The properties, of which the image keeps a copy; None for the default ones.
  /// \param metadata The root node of the metadata, of which the image keeps a copy; may be None.
  /// \return The new image.
  /// \throws Error if the buffer is too small, the properties do not fit, or the type is not numeric.
  static std::shared_ptr<zarnik::ImageView> __from_buffer(zarnik::VectorXu64 const &shape, zarnik::DataType dataType,
                                                          uint8_t *buffer, size_t bufferSize,
                                                          std::shared_ptr<zarnik::ImageProperties> properties,
                                                          std::shared_ptr<zarnik::MetadataNode> metadata) {
    return zarnik::ImageViewFactory::fromBuffer(shape, dataType, buffer, bufferSize, properties, metadata);
  }
}

%include "zarnik/views/ImageViewFactory.h"

%clear zarnik::VectorXu64 const &shape;
%clear (zarnik::ImageDimension const *dimensions, size_t count);
