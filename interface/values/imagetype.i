%header %{
#include "zarnik/values/ImageType.h"
%}

%rename(_dimension) zarnik::ImageType::dimension;

%typemap(doctype) zarnik::ImageDimension const *dimensions "pointer to int"
// Nothing of a list without dimensions is read.
%typemap(check, noblock=1) (zarnik::ImageDimension const *dimensions, size_t count) {
  if (!$1 && $2) { %argument_nullref("$1_type", $symname, $argnum); }
}
%include "zarnik/values/ImageType.h"
%clear (zarnik::ImageDimension const *dimensions, size_t count);

// The named types are variables of the module, references to the library's objects, which cannot be replaced. As
// members of the class they would have functions, too.
%header %{
#define NAMED_IMAGE_TYPE(NAME) static zarnik::ImageType &ImageTypeId_##NAME = zarnik::ImageTypeId::NAME;
%}
%immutable;
%define %named_image_type(NAME)
%insert("header") { NAMED_IMAGE_TYPE(NAME) }
extern zarnik::ImageType ImageTypeId_ ## NAME;
%enddef
%named_image_type(UNKNOWN)
%named_image_type(IMAGE)
%named_image_type(VOLUME)
%named_image_type(MULTISPECTRAL_IMAGE)
%named_image_type(MULTISPECTRAL_VOLUME)
%named_image_type(IMAGE_SEQUENCE)
%named_image_type(VOLUME_SEQUENCE)
%named_image_type(MULTISPECTRAL_IMAGE_SEQUENCE)
%named_image_type(MULTISPECTRAL_VOLUME_SEQUENCE)
%mutable;
