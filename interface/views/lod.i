%header %{
#include "zarnik/views/LodImageView.h"
#include "zarnik/views/LodImageViewProvider.h"
%}

%held_by_shared_pointer(zarnik::LodImageView)

%rename(get_level_range) zarnik::LodImageView::levelRange;

%include "zarnik/views/LodImageView.h"
%include "zarnik/views/LodImageViewProvider.h"
