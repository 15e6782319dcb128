%header %{
#include "zarnik/frames/DataFrameCapability.h"
#include "zarnik/views/MultiImageCapability.h"
%}

%flag_set(views, MultiImageCapability)
%flag_set(frames, DataFrameCapability)
