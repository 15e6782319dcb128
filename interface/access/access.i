// Accessors of bytes, what makes them, and what tells where they are.
%header %{
#include "zarnik/access/HTTPHeaders.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/RandomAccessProvider.h"
#include "zarnik/access/StreamAccessFactory.h"
#include "zarnik/access/StreamAccessProvider.h"
#include "zarnik/access/DataStorage.h"
#include "zarnik/access/Uri.h"

namespace zarnik::python {

// The copy of an entry has no class of its own that would free it: it is the only one of a set of headers, which the
// object that is returned owns.
static PyObject *wrapEntry(HTTPHeaders::Entry const &entry, swig_type_info *entryType, swig_type_info *headersType) {
  auto headers = std::make_unique<HTTPHeaders>(&entry, 1);
  auto *const copy = const_cast<HTTPHeaders::Entry *>(&headers->at(0));
  auto const owner = Reference::steal(wrapOwned(headers.get(), headersType));
  if (!owner)
    return nullptr;
  headers.release();
  auto result = Reference::steal(SWIG_NewPointerObj(copy, entryType, 0));
  if (result)
    reinterpret_cast<SwigPyObject *>(result.get())->next =
        Reference::share(reinterpret_cast<PyObject *>(SWIG_Python_GetSwigThis(owner.get()))).release();
  return result.release();
}

} // namespace zarnik::python
%}

%held_by_shared_pointer(zarnik::DataStorage)
%held_by_shared_pointer(zarnik::DataAccess)
%held_by_shared_pointer(zarnik::StreamAccess)
%held_by_shared_pointer(zarnik::RandomAccess)

// Insertion into a text stream carries no docstring, like all operators of the module.
%feature("noautodoc", "1") zarnik::operator<<;
%include "zarnik/access/Uri.h"

%warnfilter(325) zarnik::HTTPHeaders::Entry;
%typemap(doctype) zarnik::HTTPHeaders::Entry, zarnik::HTTPHeaders::Entry const &, zarnik::HTTPHeaders::Entry const * "opaque pointer"
%typemap(out, noblock=1) zarnik::HTTPHeaders::Entry const & {
  $result = zarnik::python::wrapEntry(*$1, $1_descriptor, $descriptor(zarnik::HTTPHeaders *));
}
// From Python a pointer leads to one entry: there are no arrays of them.
%typemap(check, noblock=1) (zarnik::HTTPHeaders::Entry const *entries, size_t entryCount) {
  if (!$1 && $2) { %argument_nullref("$1_type", $symname, $argnum); }
  if ($2 > 1) {
    PyErr_Format(PyExc_ValueError, "in method '%s', argument 2 must be 0 or 1", "$symname");
    SWIG_fail;
  }
}
%include "zarnik/access/HTTPHeaders.h"
%clear (zarnik::HTTPHeaders::Entry const *entries, size_t entryCount);

%rename(get_source) zarnik::DataStorage::source;
%include "zarnik/access/DataStorage.h"

%rename(get_storage) zarnik::DataAccess::storage;
%rename(get_resource_id) zarnik::DataAccess::resourceId;
%include "zarnik/access/DataAccess.h"

%rename(get_good) zarnik::StreamAccess::good;
%rename(get_eof) zarnik::StreamAccess::eof;
%rename(get_fail) zarnik::StreamAccess::fail;
%rename("%s") zarnik::StreamAccess::__read;
%extend zarnik::StreamAccess {
  /// Read bytes from the stream into a buffer.
  ///
  /// The cursor is moved behind the bytes.
  /// Needs the capability READ.
  /// \param dst Receives the bytes; its size is how many are wanted.
  /// \return Count of read bytes, less than wanted only at the end of the stream.
  /// \throws Error if they cannot be read.
  size_t __read(uint8_t *dst, size_t size) { return $self->read(dst, size); }

  /// Write bytes from a buffer into the stream.
  ///
  /// The cursor is moved behind the bytes.
  /// Needs the capability WRITE.
  /// \param src The bytes.
  /// \return Count of written bytes, less than given only where a stream of fixed size ends.
  /// \throws Error if they cannot be written.
  size_t write(uint8_t const *src, size_t size) { return $self->write(src, size); }
}
%typemap(doctype) zarnik::FlagSet<zarnik::StreamAccessCapability> zarnik::StreamAccess::capabilities
  ":py:class:`StreamAccessCapabilitySet`"
%include "zarnik/access/StreamAccess.h"

%rename(get_size) zarnik::RandomAccess::size;
%rename("%s") zarnik::RandomAccess::__read;
%extend zarnik::RandomAccess {
  /// Read bytes at an offset into a buffer.
  ///
  /// Needs the capability READ.
  /// \param offset The offset of the first byte.
  /// \param dst    Receives the bytes; its size is how many are wanted.
  /// \return Count of read bytes (can be zero or less than given size).
  /// \throws Error if they cannot be read.
  size_t __read(size_t offset, uint8_t *dst, size_t size) { return $self->read(offset, dst, size); }

  /// Write bytes from a buffer at an offset.
  ///
  /// Needs the capability WRITE. An accessor that offers RESIZE grows as needed.
  /// \param offset The offset of the first byte.
  /// \param src    The bytes.
  /// \return Count of written bytes, less than given only where an accessor of fixed size ends.
  /// \throws Error if they cannot be written.
  size_t write(size_t offset, uint8_t const *src, size_t size) { return $self->write(offset, src, size); }
}
%typemap(doctype) zarnik::FlagSet<zarnik::RandomAccessCapability> zarnik::RandomAccess::capabilities
  ":py:class:`RandomAccessCapabilitySet`"
%include "zarnik/access/RandomAccess.h"

%include "zarnik/access/StreamAccessProvider.h"
%include "zarnik/access/RandomAccessProvider.h"

%rename(open_uri_write) zarnik::StreamAccessFactory::openURIWrite;
%rename(open_http_write) zarnik::StreamAccessFactory::openHTTPWrite;
%include "zarnik/access/StreamAccessFactory.h"

%rename(open_uri_read) zarnik::RandomAccessFactory::openURIRead;
%rename(open_http_read) zarnik::RandomAccessFactory::openHTTPRead;
%rename("%s") zarnik::RandomAccessFactory::__from_buffer;
%extend zarnik::RandomAccessFactory {
  /// Create an accessor over the memory of a buffer.
  ///
  /// The bytes are those of the buffer, not copies. The buffer has to outlive the accessor, and all that is made of it:
  /// nothing here keeps it.
  /// \param buffer The buffer, which can be written.
  /// \return The accessor.
  static std::shared_ptr<zarnik::RandomAccess> __from_buffer(uint8_t *buffer, size_t size) {
    return zarnik::RandomAccessFactory::fromBuffer(buffer, size);
  }
}
%include "zarnik/access/RandomAccessFactory.h"
