// Every conversion rule between Python and library values, once. Bodies longer than a few lines stand in src/module.

// Fixed-width names stay opaque to the generator, so that messages print them as the headers write them; each is
// bound here to the reader of its width. The 32-bit readers are those of int, whatever the platform's long.
%define %integer_reader(NAME, READER)
%apply READER { NAME };
%apply READER const & { NAME const & };
%typemap(doctype) NAME, NAME const & "int"
%typemap(doctype) NAME *, NAME const * "pointer to int"
%enddef
%typemap(doctype) float const *, double const * "pointer to float"
%integer_reader(uint8_t, unsigned char)
%integer_reader(int8_t, signed char)
%integer_reader(uint16_t, unsigned short)
%integer_reader(int16_t, short)
%integer_reader(uint32_t, unsigned int)
%integer_reader(int32_t, int)
%integer_reader(uint64_t, unsigned long long)
%integer_reader(int64_t, long long)
%integer_reader(size_t, unsigned long long)
%integer_reader(ptrdiff_t, long long)
%integer_reader(std::size_t, unsigned long long)

// Enumerators are plain ints in the module's dictionary; some of them need more than 32 bits.
%typemap(constcode, noblock=1) int {
  SWIG_Python_SetConstant(d, "$symname", PyLong_FromLongLong(static_cast<long long>($value)));
}
%typemap(doctype) enum SWIGTYPE "int"

// Types as Python readers know them, where the generator would show those of the headers. The name comes in two parts:
// quoted as a whole it would be taken for a string to be made.
%define %documented_as(FAMILY, MEMBER, TYPE...)
%typemap(doctype, noblock=1) TYPE, TYPE const, TYPE &, TYPE const &, TYPE * {:py:class:`FAMILY ## MEMBER`}
%enddef
%typemap(doctype) PyObject * "object"
%typemap(doctype) void const * "opaque pointer"
%typemap(doctype) PyObject *array, PyObject *np, PyObject *toNumpy "numpy.ndarray"

// None for self, or for a reference, is refused before it can be dereferenced; a destructor takes owned objects only
// and leaves its argument empty, so that neither a second call nor the collector reaches freed memory. What an argument
// holds stays until the end of the call.
%typemap(in, noblock=1) SWIGTYPE *self (void *argp = 0, zarnik::python::Pin pin) {
  if (!zarnik::python::readSelf($input, $descriptor, $disown, "$symname", "$type", argp, pin)) SWIG_fail;
  $1 = %reinterpret_cast(argp, $ltype);
}
%define %pinned_reference(TYPE...)
%typemap(in, noblock=1) TYPE (void *argp = 0, int res = 0, zarnik::python::Pin pin) {
  res = SWIG_ConvertPtr($input, &argp, $descriptor, 0);
  if (!SWIG_IsOK(res)) {
    %argument_fail(res, "$type", $symname, $argnum);
  }
  if (!argp) { %argument_nullref("$type", $symname, $argnum); }
  pin.hold(argp);
  $1 = %reinterpret_cast(argp, $ltype);
}
%typemap(freearg) TYPE ""
%enddef
%pinned_reference(SWIGTYPE &)
%pinned_reference(SWIGTYPE const &)
%typemap(check, noblock=1) SWIGTYPE &, SWIGTYPE const & {
  if (!$1) { %argument_nullref("$type", $symname, $argnum); }
}
%typemap(freearg, noblock=1) SWIGTYPE *self {
  if constexpr (zarnik::python::isDestructor("$symname")) zarnik::python::forgetPointer(swig_obj[0]);
}

// A result by value moves to the object that Python gets, within the net.
%typemap(out, noblock=1) SWIGTYPE {
  $result = zarnik::python::wrapMoved(&$1, $&descriptor);
}

// Classes whose wrapped objects hold a shared pointer. Self is shared for the time of the call: a sequence among the
// arguments is asked for its items, which may be code that destroys the object.
%define %held_by_shared_pointer(TYPE...)
%shared_ptr(TYPE)
%typemap(in, noblock=1) TYPE *self (std::shared_ptr<TYPE> tempshared, std::shared_ptr<TYPE> *smartarg = 0), TYPE const *self (std::shared_ptr<TYPE> tempshared, std::shared_ptr<TYPE> *smartarg = 0) {
  if constexpr (zarnik::python::isDestructor("$symname")) {
    smartarg = static_cast<std::shared_ptr<TYPE> *>(zarnik::python::releaseSelf($input, $descriptor(std::shared_ptr<TYPE> *), "$symname", "$type"));
    if (!smartarg) SWIG_fail;
  } else {
    if (!zarnik::python::shareSelf($input, $descriptor(std::shared_ptr<TYPE> *), "$symname", "$type", tempshared)) SWIG_fail;
    $1 = tempshared.get();
  }
}
%typemap(check) TYPE *self, TYPE const *self ""
%typemap(freearg) TYPE *self, TYPE const *self ""
%enddef

// Data types by value: a wrapped one or an int id.
%typemap(in, noblock=1) zarnik::DataType (zarnik::python::HeldError held), DataType (zarnik::python::HeldError held) {
  $1 = zarnik::python::readDataType($input, $descriptor(zarnik::DataType *), held);
}
%typemap(freearg, noblock=1) zarnik::DataType, DataType {
  held$argnum.settle(resultobj, "$symname", zarnik::python::Unfit::TYPE_OR_RANGE);
}
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) zarnik::DataType, DataType {
  $1 = zarnik::python::isDataType($input, $descriptor(zarnik::DataType *));
}

// Vectors by value or const reference: a wrapped one or any sequence.
%define %vector_argument(VECTOR...)
%typemap(in, noblock=1) VECTOR const & (VECTOR temp, zarnik::python::HeldError held, zarnik::python::Pin pin) {
  $1 = zarnik::python::readVector($input, temp, $descriptor(VECTOR *), "$symname", held);
  if (!$1) SWIG_fail;
  pin.hold($1);
}
%typemap(in, noblock=1) VECTOR (VECTOR temp, VECTOR *argp, zarnik::python::HeldError held) {
  argp = zarnik::python::readVector($input, temp, $descriptor(VECTOR *), "$symname", held);
  if (!argp) SWIG_fail;
  $1 = *argp;
}
%typemap(typecheck, noblock=1, precedence=SWIG_TYPECHECK_POINTER) VECTOR const &, VECTOR {
  $1 = zarnik::python::isVector($input, $descriptor(VECTOR *));
}
%typemap(freearg, noblock=1) VECTOR const &, VECTOR {
  held$argnum.settle(resultobj, "$symname");
}
%typemap(check) VECTOR const &, VECTOR ""
%enddef

// Pairs of pointer and size: the whole of a buffer, for the time of the call.
// The local variable has the name of no parameter: the generator numbers it wherever it stands, in messages, too.
%define %buffer_argument(KIND, READER, TYPE, DOCTYPE, POINTER, SIZE)
%typemap(in, noblock=1) (POINTER, SIZE) (zarnik::python::Buffer<TYPE> lent) {
  if (!zarnik::python::READER($input, lent)) {
    %argument_fail(SWIG_TypeError, KIND, $symname, $argnum);
  }
  $1 = ($1_ltype)lent.data;
  $2 = lent.size;
}
%typemap(check) (POINTER, SIZE) ""
%typemap(doctype) POINTER DOCTYPE
%enddef
%buffer_argument("(uint8_t* dst, size_t size)", readWritableBuffer, void, "writable buffer",
                 uint8_t *dst, size_t size)
%buffer_argument("(const uint8_t* src, size_t size)", readReadableBuffer, void const, "bytes-like object",
                 uint8_t const *src, size_t size)
%buffer_argument("(uint8_t* buffer, size_t size)", readWritableBuffer, void, "writable buffer",
                 uint8_t *buffer, size_t size)
%buffer_argument("(uint8_t* buffer, size_t bufferSize)", readWritableBuffer, void, "writable buffer",
                 uint8_t *buffer, size_t bufferSize)

// Lists of image dimensions. To be applied by name: a pointer to dimensions is otherwise a wrapped pointer.
%typemap(in, noblock=1) (zarnik::ImageDimension const *dimensionList, size_t dimensionCount) (std::vector<zarnik::ImageDimension> dimensions) {
  if (!zarnik::python::readImageDimensions($input, dimensions)) SWIG_fail;
  $1 = dimensions.data();
  $2 = dimensions.size();
}
%typemap(doctype) zarnik::ImageDimension const *dimensionList "list of int"

// There is no other operand to try for an operator of one: it raises what other methods raise.
%feature("python:maybecall", "0") *::operator-();
%feature("python:maybecall", "0") *::operator-() const;
%feature("python:maybecall", "0") *::operator*();
%feature("python:maybecall", "0") *::operator*() const;

// One net around every library call.
%define %install_exception_net()
%exception {
  try {
    $action
  } catch (...) {
    zarnik::python::translateException();
    SWIG_fail;
  }
}
%enddef
