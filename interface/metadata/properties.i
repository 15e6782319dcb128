%header %{
#include "metadata/ReadonlyProperties.h"
#include "zarnik/metadata/ImageProperties.h"
%}

%held_by_shared_pointer(zarnik::ImageProperties)
%moving_constructor(zarnik::ImageProperties)
%copied_result(zarnik::SpatialDirections)
%copied_result(zarnik::SpatialCalibrationProperty)
%copied_result(zarnik::ImageInfoProperty)
%copied_result(zarnik::ImageType)

%define %calibration_getters(CLASS)
%rename(get_origin) zarnik::CLASS::origin;
%rename(get_spacing) zarnik::CLASS::spacing;
%rename(get_directions) zarnik::CLASS::directions;
%rename(get_unit) zarnik::CLASS::unit;
%enddef
%define %info_getters(CLASS)
%rename(get_axes_interpretation) zarnik::CLASS::axesInterpretation;
%rename(_get_interpretation) zarnik::CLASS::interpretation;
%rename(get_alpha) zarnik::CLASS::alpha;
%rename(get_bit_depth) zarnik::CLASS::bitDepth;
%rename(get_value_range) zarnik::CLASS::valueRange;
%enddef
%define %properties_getters(CLASS)
%rename(get_calibration) zarnik::CLASS::calibration;
%rename(get_image_info) zarnik::CLASS::imageInfo;
%enddef
%rename(get_column_direction) zarnik::SpatialDirections::columnDirection;
%rename(get_row_direction) zarnik::SpatialDirections::rowDirection;
%rename(get_slice_direction) zarnik::SpatialDirections::sliceDirection;
%calibration_getters(SpatialCalibrationProperty)
%calibration_getters(ReadonlySpatialCalibrationProperty)
%info_getters(ImageInfoProperty)
%info_getters(ReadonlyImageInfoProperty)
%properties_getters(ImageProperties)
%properties_getters(ReadonlyImageProperties)

// Made by the module only.
%ignore zarnik::ReadonlySpatialCalibrationProperty::ReadonlySpatialCalibrationProperty;
%ignore zarnik::ReadonlyImageInfoProperty::ReadonlyImageInfoProperty;
%ignore zarnik::ReadonlyImageProperties::ReadonlyImageProperties;

// Python does not know const, so properties that are not to be changed come as a class that offers no way to.
%typemap(out, noblock=1) std::shared_ptr<zarnik::ImageProperties const> __get_properties {
  $result = $1 ? zarnik::python::wrapCopy(zarnik::ReadonlyImageProperties($1), $descriptor(zarnik::ReadonlyImageProperties *))
               : SWIG_Py_Void();
}
%typemap(doctype) std::shared_ptr<zarnik::ImageProperties const> __get_properties ":py:class:`ReadonlyImageProperties`"
// They stand for properties wherever those are read: the reader gets a copy. Changing a copy would have no effect.
%types(zarnik::ReadonlyImageProperties = std::shared_ptr<zarnik::ImageProperties>) %{
  *newmemory = SWIG_CAST_NEW_MEMORY;
  return new std::shared_ptr<zarnik::ImageProperties>(((zarnik::ReadonlyImageProperties *)$from)->clone());
%}
%typemap(check, noblock=1) zarnik::ImageProperties *self {
  if (zarnik::python::wrappedPointer(swig_obj[0], $descriptor(zarnik::ReadonlyImageProperties *))) {
    %argument_fail(SWIG_TypeError, "$type", $symname, $argnum);
  }
}

%include "zarnik/metadata/SpatialDirections.h"
%include "zarnik/metadata/SpatialCalibrationProperty.h"
%include "zarnik/metadata/ImageInterpretation.h"
%include "zarnik/metadata/ImageInfoProperty.h"
%include "zarnik/metadata/ImageProperties.h"
%include "metadata/ReadonlyProperties.h"
