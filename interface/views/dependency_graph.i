%header %{
#include "zarnik/views/CommonAncestorStatus.h"
%}

%include "zarnik/views/CommonAncestorStatus.h"
