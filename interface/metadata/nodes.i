%header %{
#include "metadata/ReadonlyMetadataNode.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/metadata/MetadataNodeFactory.h"
#include "zarnik/metadata/MetadataNodeHelper.h"
%}

// Moving out of an object that is held by shared pointer: its owner gives up the pointer; others keep what is left.
%define %moving_constructor(CLASS)
%typemap(in, noblock=1) CLASS && (void *argp, int res, std::unique_ptr<std::shared_ptr<CLASS>> released) {
  res = SWIG_ConvertPtr($input, &argp, $descriptor(std::shared_ptr<CLASS> *), SWIG_POINTER_RELEASE);
  if (res == SWIG_ERROR_RELEASE_NOT_OWNED) { %releasenotowned_fail(res, "$type", $symname, $argnum); }
  if (!SWIG_IsOK(res)) { %argument_fail(res, "$type", $symname, $argnum); }
  if (!argp) { %argument_nullref("$type", $symname, $argnum); }
  released.reset(static_cast<std::shared_ptr<CLASS> *>(argp));
  $1 = released->get();
}
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) CLASS && {
  $1 = SWIG_CheckState(SWIG_ConvertPtr($input, 0, $descriptor(std::shared_ptr<CLASS> *), 0));
}
%enddef

%held_by_shared_pointer(zarnik::MetadataNode)
%moving_constructor(zarnik::MetadataNode)

%rename(get_key) zarnik::MetadataNode::key;
%rename(get_value) zarnik::MetadataNode::value;
%rename(get_child_count) zarnik::MetadataNode::childCount;
%rename(__begin) zarnik::MetadataNode::begin;
%rename(__end) zarnik::MetadataNode::end;

%rename(get_key) zarnik::ReadonlyMetadataNode::key;
%rename(get_value) zarnik::ReadonlyMetadataNode::value;
%rename(get_child_count) zarnik::ReadonlyMetadataNode::childCount;
%rename(__begin) zarnik::ReadonlyMetadataNode::begin;
%rename(__end) zarnik::ReadonlyMetadataNode::end;

%typemap(doctype) zarnik::MetadataIteratorObject *, zarnik::ConstMetadataIteratorObject * "opaque pointer"
%include "zarnik/metadata/MetadataNodeIterator.h"

// The arrow by its Python name only: a class that has the operator would get all methods of a node.
%define %arrow(ITERATOR, NODE...)
%extend zarnik::ITERATOR {
  %rename("%s") __deref__;
  /// Return the child that the iterator stands on.
  ///
  /// \return The child itself, not a copy.
  /// \throws Error if the iterator is at the end, or if the child was removed.
  std::shared_ptr<NODE> __deref__() const { return $self->value(); }
}
%enddef
%arrow(MetadataNodeIterator, zarnik::MetadataNode)
%arrow(ConstMetadataNodeIterator, zarnik::MetadataNode const)

%include "zarnik/metadata/MetadataNode.h"
%include "metadata/ReadonlyMetadataNode.h"
%include "zarnik/metadata/MetadataNodeFactory.h"
%include "zarnik/metadata/MetadataNodeHelper.h"
