%header %{
#include "zarnik/values/Region.h"
#include "zarnik/values/RegionX.h"
%}

%define %rename_region_getters(REGION)
%rename(get_dimension_count) zarnik::REGION::dimensionCount;
%rename(get_origin) zarnik::REGION::origin;
%rename(get_size) zarnik::REGION::size;
%rename(get_element_count) zarnik::REGION::elementCount;
%rename(get_min) zarnik::REGION::min;
%rename(get_max) zarnik::REGION::max;
%rename(get_is_empty) zarnik::REGION::isEmpty;
%enddef
%rename_region_getters(Region)
%rename_region_getters(RegionX)

%documented_as(Region, 2u64, zarnik::Region<uint64_t, 2>)
%documented_as(Region, 3u64, zarnik::Region<uint64_t, 3>)
%documented_as(Region, 4u64, zarnik::Region<uint64_t, 4>)
%documented_as(Region, Xu64, zarnik::RegionX<uint64_t>)
%documented_as(Region, Xu64, RegionX<uint64_t>)

// As for vectors: the header writes the name before the generator knows it.
%typemap(in, noblock=1) RegionX<uint64_t> const & {
  $1 = static_cast<zarnik::RegionX<uint64_t> *>(zarnik::python::wrappedPointer($input, $descriptor(zarnik::RegionX<uint64_t> *)));
  if (!$1) { %argument_fail(SWIG_TypeError, "$type", $symname, $argnum); }
}
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) RegionX<uint64_t> const & {
  $1 = $input != Py_None && zarnik::python::wrappedPointer($input, $descriptor(zarnik::RegionX<uint64_t> *));
}

%include "zarnik/values/Region.h"
%template(Region2u64) zarnik::Region<uint64_t, 2>;
%template(Region3u64) zarnik::Region<uint64_t, 3>;
%template(Region4u64) zarnik::Region<uint64_t, 4>;

%clear RegionX<uint64_t> const &;
%include "zarnik/values/RegionX.h"
%template(RegionXu64) zarnik::RegionX<uint64_t>;

namespace zarnik {
typedef RegionX<uint64_t> RegionXu64;
}
