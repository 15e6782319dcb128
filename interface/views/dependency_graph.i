%header %{
#include "zarnik/views/DependencyGraph.h"
%}

%rename(_has_common_ancestor) zarnik::DependencyGraph::hasCommonAncestor;

%include "zarnik/views/CommonAncestorStatus.h"
%include "zarnik/views/DependencyGraph.h"
