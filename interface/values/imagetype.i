%header %{
#include "zarnik/values/ImageType.h"
%}

%rename(_dimension) zarnik::ImageType::dimension;
%immutable zarnik::ImageTypeId::UNKNOWN;
%immutable zarnik::ImageTypeId;

%immutable;
%include "zarnik/values/ImageType.h"
%mutable;
