%header %{
#include "views/Metadata.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewProvider.h"
%}

%held_by_shared_pointer(zarnik::View)
%held_by_shared_pointer(zarnik::ImageView)

%rename(_extension) zarnik::View::extension;
%rename(get_dimension_count) zarnik::ImageView::dimensionCount;
%rename(get_capabilities) zarnik::ImageView::capabilities;
%rename(get_shape) zarnik::ImageView::shape;
%rename(get_data_type) zarnik::ImageView::dataType;
%rename(_get_image_interpretation) zarnik::ImageView::imageInterpretation;
%rename(get_axes_interpretation) zarnik::ImageView::axesInterpretation;
%rename(get_spatial_origin) zarnik::ImageView::spatialOrigin;
%rename(get_spatial_spacing) zarnik::ImageView::spatialSpacing;
%rename(get_spatial_unit) zarnik::ImageView::spatialUnit;
%rename(get_spatial_directions) zarnik::ImageView::spatialDirections;
%rename(get_bit_depth) zarnik::ImageView::bitDepth;
%rename(get_has_alpha) zarnik::ImageView::hasAlpha;
%rename(get_value_range) zarnik::ImageView::valueRange;
%rename("%s") zarnik::ImageView::__get_properties;
%rename("%s") zarnik::ImageView::__get_metadata;
%rename("%s") zarnik::ImageView::__read;
%rename("%s") zarnik::ImageView::__read_region;
%rename("%s") zarnik::ImageView::__write;
%rename("%s") zarnik::ImageView::__write_region;

// A shared pointer that other native code allocated: the wrapped object holds that very allocation, not a copy of it.
// To be used before the class is read.
%define %create_from_pointer(CLASS)
%typemap(out, noblock=1) std::shared_ptr<zarnik::CLASS> * {
  $result = SWIG_NewPointerObj($1, $descriptor(std::shared_ptr<zarnik::CLASS> *), SWIG_POINTER_OWN);
}
%extend zarnik::CLASS {
  /// Take over a view from other native code.
  ///
  /// \param pointer Address of a std::shared_ptr to the view that was allocated with new. The address is not checked;
  /// the allocation is handed over and must not be freed by the caller.
  /// \return The view.
  static std::shared_ptr<zarnik::CLASS> *create_from_pointer(unsigned long long pointer) {
    return reinterpret_cast<std::shared_ptr<zarnik::CLASS> *>(pointer);
  }
}
%enddef

// The position of an element: unlike other vectors its items have the full 64 bits.
%typemap(in, noblock=1) zarnik::VectorXu64 const &element (zarnik::VectorXu64 temp) {
  $1 = zarnik::python::readIndex($input, temp, $descriptor(zarnik::VectorXu64 *));
  if (!$1) SWIG_fail;
}
%typemap(freearg) zarnik::VectorXu64 const &element ""

%flag_set(views, ImageCapability)
%include "zarnik/views/View.h"

%create_from_pointer(ImageView)
%extend zarnik::ImageView {
  /// Return the view's properties.
  ///
  /// They are shared with the view and cannot be changed; copy them and set the copy.
  /// \return The properties, never None.
  /// \throws Error if the view, one of somebody else's, tells none.
  std::shared_ptr<zarnik::ImageProperties const> __get_properties() { return zarnik::toldProperties(*$self); }

  /// Return the root node of the metadata attached to this image.
  ///
  /// It is shared with the view and not to be changed; a view that cannot be written gives a copy.
  /// \return The node, None when there is no metadata.
  std::shared_ptr<zarnik::MetadataNode const> __get_metadata() const { return zarnik::python::metadataOf(*$self); }

  /// Read the data at the given index into a buffer.
  ///
  /// Needs the capability READ.
  /// \param element The position of the element, one item a dimension.
  /// \param dst Receives the bytes of the element. Its size is not checked.
  /// \throws Error if the position is outside of the image.
  /// \throws NotImplemented If the implementation does not support reading.
  void __read(zarnik::VectorXu64 const &element, uint8_t *dst, size_t size) { (void)size; $self->read(element, dst); }

  /// Read a region of the image into a buffer, the first dimension fastest.
  ///
  /// Needs the capability READ.
  /// \param region The region, inside of the image.
  /// \param dst Receives the bytes of the region's elements. Its size is not checked.
  /// \throws Error if the region leaves the image.
  /// \throws NotImplemented If the implementation does not support reading.
  void __read_region(zarnik::RegionXu64 const &region, uint8_t *dst, size_t size) {
    (void)size;
    $self->readRegion(region, dst);
  }

  /// Write value from a buffer at the given index.
  ///
  /// Needs the capability WRITE.
  /// \param element The position of the element, one item a dimension.
  /// \param src The bytes of the element. Their number is not checked.
  /// \throws Error if the position is outside of the image.
  /// \throws NotImplemented If the implementation does not support writing.
  void __write(zarnik::VectorXu64 const &element, uint8_t const *src, size_t size) {
    (void)size;
    $self->write(element, src);
  }

  /// Write a input buffer into a given region of the image
  ///
  /// Needs the capability WRITE.
  /// \param region The region, inside of the image.
  /// \param src The bytes of the region's elements, the first dimension fastest. Their number is not checked.
  /// \throws Error if the region leaves the image.
  /// \throws NotImplemented If the implementation does not support writing.
  void __write_region(zarnik::RegionXu64 const &region, uint8_t const *src, size_t size) {
    (void)size;
    $self->writeRegion(region, src);
  }
}

// The method, as against the parameters of that name.
%typemap(doctype) zarnik::FlagSet<zarnik::ImageCapability> zarnik::ImageView::capabilities ":py:class:`ImageCapabilitySet`"
%include "zarnik/views/ImageView.h"
%include "zarnik/views/ImageViewProvider.h"
