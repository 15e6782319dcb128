%header %{
#include "zarnik/core/UidGenerator.h"
%}

%include "zarnik/core/UidGenerator.h"
