%header %{
#include "zarnik/values/DataType.h"
%}

%rename(get_id) zarnik::DataType::id;
%rename(get_bit_depth) zarnik::DataType::bitDepth;
%rename(get_element_count) zarnik::DataType::elementCount;
%rename(_get_primitive_type) zarnik::DataType::primitiveType;
%rename(_get_interpretation) zarnik::DataType::interpretation;

%include "zarnik/values/DataType.h"
