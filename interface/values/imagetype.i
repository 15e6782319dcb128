%header %{
#include "zarnik/values/ImageType.h"
%}

%rename(_dimension) zarnik::ImageType::dimension;

// The named types are references to the library's objects, which cannot be replaced.
%immutable;
%include "zarnik/values/ImageType.h"
%mutable;
