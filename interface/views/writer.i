%header %{
#include "zarnik/views/Writer.h"
%}

%held_by_shared_pointer(zarnik::Writer)

%include "zarnik/views/Writer.h"
