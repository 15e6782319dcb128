%header %{
#include "zarnik/values/Indexer.h"
%}

%copied_result(zarnik::Indexer)
%include "zarnik/values/Indexer.h"
