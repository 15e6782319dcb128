%header %{
#include "zarnik/views/DataFrameCapability.h"
#include "zarnik/views/MultiImageCapability.h"
%}

%flag_set(views, MultiImageCapability)
%flag_set(views, DataFrameCapability)
