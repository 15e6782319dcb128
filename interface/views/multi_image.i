%header %{
#include "views/Images.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/MultiImageViewFactory.h"
#include "zarnik/views/MultiImageViewProvider.h"
%}

%held_by_shared_pointer(zarnik::MultiImageView)

%rename(get_capabilities) zarnik::MultiImageView::capabilities;
%rename(get_frame_count) zarnik::MultiImageView::frameCount;
%rename("%s") zarnik::MultiImageView::__get_metadata;
%rename(unstack_dimension_index) zarnik::MultiImageViewFactory::unstack(std::shared_ptr<ImageView>, size_t);
%rename(unstack_dimension) zarnik::MultiImageViewFactory::unstack(std::shared_ptr<ImageView>, ImageDimension);

%create_from_pointer(MultiImageView)
%extend zarnik::MultiImageView {
  /// Return the root node of the metadata attached to this set.
  ///
  /// It is shared with the set and not to be changed; a set that cannot be written gives a copy.
  /// \return The node, None when there is no metadata.
  std::shared_ptr<zarnik::MetadataNode const> __get_metadata() const { return zarnik::python::metadataOf(*$self); }
}

// A list or a tuple only: other sequences of images are not taken.
%typemap(in, noblock=1) (std::shared_ptr<zarnik::ImageView> const *images, size_t count) (std::vector<std::shared_ptr<zarnik::ImageView>> images) {
  if (!zarnik::python::readImages($input, "$symname", images)) SWIG_fail;
  $1 = images.data();
  $2 = images.size();
}
%typemap(check) (std::shared_ptr<zarnik::ImageView> const *images, size_t count) ""
%typemap(doctype) std::shared_ptr<zarnik::ImageView> const *images "list of :py:class:`ImageView`"

// The method, as against the parameters of that name.
%typemap(doctype) zarnik::FlagSet<zarnik::MultiImageCapability> zarnik::MultiImageView::capabilities ":py:class:`MultiImageCapabilitySet`"
%include "zarnik/views/MultiImageView.h"
%include "zarnik/views/MultiImageViewProvider.h"
%include "zarnik/views/MultiImageViewFactory.h"
