// What the package does with accessors of bytes: transfers without the interpreter's lock, memory that is kept, and
// files of Python.

#include "direct/CallWithoutLock.h"
#include "direct/Functions.h"
#include "direct/PythonFile.h"
#include "direct/TypeTable.h"
#include "module/NumpyApi.h"
#include "zarnik/access/HTTPHeaders.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccessFactory.h"
#include "zarnik/access/StreamCompletion.h"
#include "zarnik/core/Error.h"
#include "zarnik/http/HttpAccess.h"
#include "zarnik/http/HttpStatistics.h"
#include "zarnik/values/Checked.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

namespace zarnik::python {

namespace {

// More than this may take longer than somebody waits who has pressed Ctrl-C.
constexpr size_t LONG_BYTES = size_t{64} << 20;
// Of a long transfer, between two looks whether it is wanted still.
constexpr size_t PIECE_BYTES = size_t{16} << 20;

struct Types {
  swig_type_info * access = findType("std::shared_ptr< zarnik::DataAccess > *");
  swig_type_info * stream = findType("std::shared_ptr< zarnik::StreamAccess > *");
  swig_type_info * random = findType("std::shared_ptr< zarnik::RandomAccess > *");
  swig_type_info * uri = findType("zarnik::Uri *");
  swig_type_info * headers = findType("zarnik::HTTPHeaders *");
};
Types const & types() {
  static Types const found;
  return found;
}

std::shared_ptr<StreamAccess> streamOf(PyObject * object) {
  return requiredPointer<StreamAccess>(object, types().stream, "a StreamAccess");
}

std::shared_ptr<RandomAccess> randomOf(PyObject * object) {
  return requiredPointer<RandomAccess>(object, types().random, "a RandomAccess");
}

size_t sizeOf(PyObject * object) {
  auto const number = Reference::steal(PyNumber_Index(object));
  auto const value = number ? PyLong_AsUnsignedLongLong(number.get()) : 0;
  if (PyErr_Occurred())
    throw PendingError();
  return value;
}

Buffer<void> writableBuffer(PyObject * object) {
  Buffer<void> buffer;
  if (readWritableBuffer(object, buffer))
    return buffer;
  PyErr_Format(PyExc_TypeError, "a contiguous buffer is needed that can be written, got %R", object);
  throw PendingError();
}

PyObject * unsignedObject(uint64_t value) { return PyLong_FromUnsignedLongLong(value); }
PyObject * none() { return Reference::share(Py_None).release(); }

// Calls move(place, size) for one piece of a transfer after the other until one is short.
template <typename Move> size_t inPieces(size_t size, Cancellation const & cancellation, Move const & move) {
  size_t done = 0;
  while (done < size && !cancellation.requested()) {
    auto const wanted = std::min(PIECE_BYTES, size - done);
    auto const count = move(done, wanted);
    done += count;
    if (count < wanted)
      break;
  }
  return done;
}

// A stream that a thread works on without the interpreter's lock, until this goes. Others are refused meanwhile: an
// interrupted call may go on for a while.
class StreamUse {
public:
  explicit StreamUse(StreamAccess const & stream) : stream_(&stream) {
    std::scoped_lock const lock(mutex());
    if (!inUse().insert(stream_).second)
      throw Error(
          fmt::format("{} is being used by another thread, or by a call that was interrupted", stream.toString()));
  }
  StreamUse(StreamUse const &) = delete;
  StreamUse & operator=(StreamUse const &) = delete;
  ~StreamUse() {
    std::scoped_lock const lock(mutex());
    inUse().erase(stream_);
  }

private:
  static std::mutex & mutex() {
    static auto & only = *new std::mutex;
    return only;
  }
  static std::set<StreamAccess const *> & inUse() {
    static auto & all = *new std::set<StreamAccess const *>;
    return all;
  }

  StreamAccess const * stream_;
};

// Moves bytes between an accessor and memory that the pin keeps. What comes from a server may take any time, and asks
// whether it is wanted still. All else is told between two pieces. In memory the interpreter's lock is what keeps other
// threads from changing its size.
template <typename Move>
size_t transfer(DataAccess const & access, size_t size, Reference const & pin, bool isInMemory, Move move) {
  if (isInMemory)
    return move(0, size);
  if (httpStatistics(access))
    return callWithoutLock([&] { return move(0, size); }, CallLength::SERVER);
  if (size < LONG_BYTES) {
    WithoutLock const released;
    return move(0, size);
  }
  return callWithoutLock([move, size, kept = KeptObject(Reference(pin))](
                             Cancellation const & cancellation) { return inPieces(size, cancellation, move); },
                         CallLength::LONG);
}

bool isInMemory(StreamAccess const & stream) { return stream.support(StreamAccessCapability::MEMORY_ACCESS); }
bool isInMemory(RandomAccess const & access) { return access.support(RandomAccessCapability::MEMORY_ACCESS); }

// What moves bytes from or to a place of memory, piece by piece.
auto reading(std::shared_ptr<StreamAccess> const & stream, uint8_t * bytes) {
  return [stream, bytes, use = std::make_shared<StreamUse>(*stream)](size_t place, size_t size) {
    return stream->read(bytes + place, size);
  };
}

auto reading(std::shared_ptr<RandomAccess> const & access, size_t offset, uint8_t * bytes) {
  return
      [access, offset, bytes](size_t place, size_t size) { return access->read(offset + place, bytes + place, size); };
}

PyObject * readStream(PyObject *, PyObject * arguments) {
  return guarded([&] {
    auto const [object, destination] = unpacked<2>(arguments, "read_stream");
    auto const stream = streamOf(object);
    auto const buffer = writableBuffer(destination);
    return unsignedObject(transfer(*stream, buffer.size, buffer.pin, isInMemory(*stream),
                                   reading(stream, static_cast<uint8_t *>(buffer.data))));
  });
}

PyObject * writeStream(PyObject *, PyObject * arguments) {
  return guarded([&] {
    auto const [object, source] = unpacked<2>(arguments, "write_stream");
    auto const stream = streamOf(object);
    auto const buffer = readableBuffer(source);
    auto const * const bytes = static_cast<uint8_t const *>(buffer.data);
    return unsignedObject(transfer(*stream, buffer.size, buffer.pin, isInMemory(*stream),
                                   [stream, bytes, use = std::make_shared<StreamUse>(*stream)](
                                       size_t place, size_t size) { return stream->write(bytes + place, size); }));
  });
}

PyObject * readRandom(PyObject *, PyObject * arguments) {
  return guarded([&] {
    auto const [object, first, destination] = unpacked<3>(arguments, "read_random");
    auto const access = randomOf(object);
    auto const offset = sizeOf(first);
    auto const buffer = writableBuffer(destination);
    checkedAdd(offset, buffer.size, "bytes to read");
    return unsignedObject(transfer(*access, buffer.size, buffer.pin, isInMemory(*access),
                                   reading(access, offset, static_cast<uint8_t *>(buffer.data))));
  });
}

PyObject * writeRandom(PyObject *, PyObject * arguments) {
  return guarded([&] {
    auto const [object, first, source] = unpacked<3>(arguments, "write_random");
    auto const access = randomOf(object);
    auto const offset = sizeOf(first);
    auto const buffer = readableBuffer(source);
    auto const * const bytes = static_cast<uint8_t const *>(buffer.data);
    checkedAdd(offset, buffer.size, "bytes to write");
    return unsignedObject(transfer(*access, buffer.size, buffer.pin, isInMemory(*access),
                                   [access, offset, bytes](size_t place, size_t size) {
                                     return access->write(offset + place, bytes + place, size);
                                   }));
  });
}

// An offset or a size; what it is, for the message, where it is no int of 64 bits.
size_t boundedSizeOf(PyObject * object, char const * what) {
  auto const number = Reference::steal(PyNumber_Index(object));
  if (!number)
    throw PendingError();
  auto const value = PyLong_AsUnsignedLongLong(number.get());
  if (PyErr_Occurred()) {
    PyErr_Format(PyExc_ValueError, "%s %S is out of range, allowed are 0 to 2**64 - 1", what, number.get());
    throw PendingError();
  }
  return value;
}

// New bytes that a transfer fills, fewer when it is short.
template <typename Fill> PyObject * filledBytes(size_t size, Fill const & fill) {
  if (size > static_cast<size_t>(std::numeric_limits<Py_ssize_t>::max()))
    return PyErr_NoMemory();
  auto bytes = Reference::steal(PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(size)));
  if (!bytes)
    return nullptr;
  auto * const memory = PyBytes_AsString(bytes.get());
  auto const count = fill(reinterpret_cast<uint8_t *>(memory), bytes);
  return count == size ? bytes.release() : PyBytes_FromStringAndSize(memory, static_cast<Py_ssize_t>(count));
}

// More than this is not allocated before it is known whether there is so much.
constexpr size_t SMALL_BYTES = size_t{1} << 20;

// read_bytes(access, offset, size): all up to the end without a size.
PyObject * readBytes(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    auto const [object, first, count] = unpacked<3>(arguments, "read_bytes");
    auto const access = randomOf(object);
    auto const offset = boundedSizeOf(first, "offset");
    auto size = count == Py_None ? std::numeric_limits<size_t>::max() : boundedSizeOf(count, "size");
    if (size > SMALL_BYTES) {
      auto const end = access->size();
      size = offset >= end ? 0 : std::min(size, end - offset);
    }
    return filledBytes(size, [&](uint8_t * bytes, Reference const & pin) {
      return transfer(*access, size, pin, isInMemory(*access), reading(access, offset, bytes));
    });
  });
}

// read_stream_bytes(stream, size)
PyObject * readStreamBytes(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    auto const [object, count] = unpacked<2>(arguments, "read_stream_bytes");
    auto const stream = streamOf(object);
    auto const size = boundedSizeOf(count, "size");
    return filledBytes(size, [&](uint8_t * bytes, Reference const & pin) {
      return transfer(*stream, size, pin, isInMemory(*stream), reading(stream, bytes));
    });
  });
}

// read_many(access, [(offset, size), ...], buffer): the parts one behind the other.
PyObject * readMany(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    auto const [object, pairs, destination] = unpacked<3>(arguments, "read_many");
    auto const access = randomOf(object);
    auto const buffer = writableBuffer(destination);
    auto const list = Reference::steal(PySequence_List(pairs));
    if (!list)
      return nullptr;
    std::vector<RandomAccess::ReadRequest> requests;
    size_t total = 0;
    for (Py_ssize_t i = 0; i < PyList_Size(list.get()); ++i) {
      auto * const pair = PyList_GetItem(list.get(), i);
      if (!PyTuple_Check(pair) || PyTuple_Size(pair) != 2) {
        PyErr_Format(PyExc_TypeError, "pairs of offset and size are needed, got %R", pair);
        return nullptr;
      }
      auto const size = sizeOf(PyTuple_GetItem(pair, 1));
      auto const place = total;
      total = checkedAdd(total, size, "bytes to read");
      if (total > buffer.size) {
        PyErr_Format(PyExc_ValueError, "the parts do not fit a buffer of %zu bytes", buffer.size);
        return nullptr;
      }
      requests.push_back({sizeOf(PyTuple_GetItem(pair, 0)), static_cast<uint8_t *>(buffer.data) + place, size});
    }
    auto const read = [access, requests = std::move(requests)](size_t, size_t size) {
      access->readMany(requests);
      return size;
    };
    // Not in pieces: an accessor that is far away plans all of it together.
    auto const length = httpStatistics(*access) ? CallLength::SERVER
                        : total >= LONG_BYTES   ? CallLength::LONG
                                                : CallLength::SHORT;
    callWithoutLock([read, total, kept = KeptObject(Reference(buffer.pin))] { return read(0, total); }, length);
    return none();
  });
}

PyObject * flushStream(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto const stream = streamOf(object);
    callWithoutLock([stream, use = std::make_shared<StreamUse>(*stream)] { stream->flush(); },
                    httpStatistics(*stream) ? CallLength::SERVER : CallLength::SHORT);
    return none();
  });
}

PyObject * closeStream(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto const stream = streamOf(object);
    if (auto const completion = std::dynamic_pointer_cast<StreamCompletion>(stream)) {
      callWithoutLock([completion, use = std::make_shared<StreamUse>(*stream)] { completion->close(); },
                      CallLength::LONG);
    } else {
      callWithoutLock([stream, use = std::make_shared<StreamUse>(*stream)] { stream->flush(); }, CallLength::SHORT);
    }
    return none();
  });
}

PyObject * abortStream(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto const stream = streamOf(object);
    if (auto const completion = std::dynamic_pointer_cast<StreamCompletion>(stream))
      callWithoutLock([completion, use = std::make_shared<StreamUse>(*stream)] { completion->abort(); },
                      CallLength::SHORT);
    return none();
  });
}

// The least that a request for a whole resource asks for.
constexpr size_t WHOLE_BYTES = size_t{4} << 20;

// An accessor that is opened by a URI, a method and headers.
template <typename Open> PyObject * openHttp(PyObject * arguments, Open open, swig_type_info * type) {
  return guarded([&]() -> PyObject * {
    PyObject * uri = nullptr;
    char const * method = nullptr;
    PyObject * headers = nullptr;
    if (!PyArg_ParseTuple(arguments, "OsO", &uri, &method, &headers))
      return nullptr;
    auto const & target = requiredValue<Uri>(uri, types().uri, "a Uri");
    auto const & sent = requiredValue<HTTPHeaders>(headers, types().headers, "an HTTPHeaders");
    auto access = callWithoutLock(
        [open, target, sent, method = std::string(method)] { return open(target, method, sent); }, CallLength::LONG);
    return wrapShared(std::move(access), type);
  });
}

PyObject * openHttpRandom(PyObject *, PyObject * arguments) {
  return openHttp(arguments, &RandomAccessFactory::openHTTPRead, types().random);
}

// What is small and wanted whole comes by one request.
PyObject * openHttpWhole(PyObject *, PyObject * arguments) {
  auto const open = [](Uri const & uri, std::string const & method, HTTPHeaders const & headers) {
    auto options = defaultHttpOptions();
    options.blockBytes = std::max(options.blockBytes, std::min(WHOLE_BYTES, options.requestBytes));
    options.readAheadBytes = 0;
    return openHttpRead(uri, method, headers, options);
  };
  return openHttp(arguments, open, types().random);
}

PyObject * openHttpStream(PyObject *, PyObject * arguments) {
  return openHttp(arguments, &StreamAccessFactory::openHTTPWrite, types().stream);
}

// Files by the bytes of their paths, which need not be text.
PyObject * openFile(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * pathObject = nullptr;
    char const * kind = nullptr;
    if (!PyArg_ParseTuple(arguments, "Ss", &pathObject, &kind))
      return nullptr;
    char * text = nullptr;
    Py_ssize_t size = 0;
    if (PyBytes_AsStringAndSize(pathObject, &text, &size) != 0)
      return nullptr;
    std::string const path(text, static_cast<size_t>(size));
    std::string_view const how(kind);
    if (how == "random")
      return wrapShared(RandomAccessFactory::openFileRead(path), types().random);
    if (how == "mapped")
      return wrapShared(RandomAccessFactory::mapFile(path), types().random);
    if (how == "random+")
      return wrapShared(RandomAccessFactory::openFile(path), types().random);
    if (how == "r")
      return wrapShared(StreamAccessFactory::openFileRead(path), types().stream);
    if (how == "w")
      return wrapShared(StreamAccessFactory::openFileWrite(path), types().stream);
    if (how == "r+")
      return wrapShared(StreamAccessFactory::openFile(path), types().stream);
    PyErr_Format(PyExc_ValueError, "unknown way %s to open a file", kind);
    return nullptr;
  });
}

PyObject * randomOverBuffer(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    Buffer<void> buffer;
    bool const canWrite = readWritableBuffer(object, buffer);
    if (!canWrite) {
      auto const readable = readableBuffer(object);
      buffer = {const_cast<void *>(readable.data), readable.size, readable.pin};
    }
    auto keeper = std::make_shared<KeptObject>(buffer.pin);
    return wrapShared(RandomAccessFactory::fromBuffer(buffer.data, buffer.size, std::move(keeper), canWrite),
                      types().random);
  });
}

PyObject * randomOverFile(PyObject *, PyObject * file) {
  return guarded([&] { return wrapShared(randomOverPythonFile(file), types().random); });
}

PyObject * streamOverFile(PyObject *, PyObject * file) {
  return guarded([&] { return wrapShared(streamOverPythonFile(file), types().stream); });
}

constexpr char MEMORY_NAME[] = "zarnik.memory of an accessor";

void deleteMemory(PyObject * capsule) {
  delete static_cast<std::shared_ptr<void> *>(PyCapsule_GetPointer(capsule, MEMORY_NAME));
}

// The memory of an accessor as an array of bytes, which keeps it; None when it cannot be kept.
PyObject * shareMemory(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto const access = randomOf(object);
    auto memory = access->sharedBuffer();
    auto const size = access->size();
    if (!memory || size > static_cast<size_t>(std::numeric_limits<npy_intp>::max()))
      return none();
    auto holder = std::make_unique<std::shared_ptr<void>>(memory);
    auto capsule = Reference::steal(PyCapsule_New(holder.get(), MEMORY_NAME, deleteMemory));
    if (!capsule)
      return nullptr;
    holder.release();
    npy_intp shape[] = {static_cast<npy_intp>(size)};
    auto const flags = access->support(RandomAccessCapability::WRITE) ? NPY_ARRAY_CARRAY : NPY_ARRAY_CARRAY_RO;
    auto array =
        Reference::steal(PyArray_New(&PyArray_Type, 1, shape, NPY_UINT8, nullptr, memory.get(), 0, flags, nullptr));
    if (!array || PyArray_SetBaseObject(reinterpret_cast<PyArrayObject *>(array.get()), capsule.release()) != 0)
      return nullptr;
    return array.release();
  });
}

PyObject * httpCounters(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto const access = requiredPointer<DataAccess>(object, types().access, "an accessor");
    auto const counters = httpStatistics(*access);
    if (!counters)
      return none();
    auto const number = [](uint64_t value) { return static_cast<unsigned long long>(value); };
    return Py_BuildValue("{sKsKsKsKsKsK}", "requests", number(counters->requests), "bytes_received",
                         number(counters->bytesReceived), "bytes_sent", number(counters->bytesSent), "cache_hits",
                         number(counters->cacheHits), "cache_misses", number(counters->cacheMisses), "retries",
                         number(counters->retries));
  });
}

PyObject * versionOverHttp(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto const version = httpVersion(*requiredPointer<DataAccess>(object, types().access, "an accessor"));
    if (version.empty())
      return none();
    // Servers may put any bytes into a tag.
    return PyUnicode_DecodeLatin1(version.data(), static_cast<Py_ssize_t>(version.size()), nullptr);
  });
}

PyObject * bytesFromMappings(PyObject *, PyObject *) {
  return unsignedObject(RandomAccessFactory::bytesFromMappings());
}

PyMethodDef methods[] = {
    {"read_stream", readStream, METH_VARARGS, "Read at the cursor of a stream into a buffer; the number of bytes."},
    {"write_stream", writeStream, METH_VARARGS, "Write a buffer at the cursor of a stream; the number of bytes."},
    {"read_random", readRandom, METH_VARARGS, "Read at an offset of an accessor into a buffer; the number of bytes."},
    {"write_random", writeRandom, METH_VARARGS, "Write a buffer at an offset of an accessor; the number of bytes."},
    {"read_bytes", readBytes, METH_VARARGS, "Bytes of an accessor from an offset on, all up to the end for None."},
    {"read_stream_bytes", readStreamBytes, METH_VARARGS, "Bytes from the cursor of a stream on."},
    {"read_many", readMany, METH_VARARGS, "Read parts of an accessor, one behind the other, into a buffer."},
    {"flush_stream", flushStream, METH_O, "Hand on what was written to a stream."},
    {"close_stream", closeStream, METH_O, "Complete what was written to a stream."},
    {"abort_stream", abortStream, METH_O, "Break off what was written to a stream, where that makes a difference."},
    {"open_http_random", openHttpRandom, METH_VARARGS, "Open a resource of a server for reading."},
    {"open_http_whole", openHttpWhole, METH_VARARGS, "Open a resource of a server for reading it whole."},
    {"open_http_stream", openHttpStream, METH_VARARGS, "Open a resource of a server for writing."},
    {"open_file", openFile, METH_VARARGS, "Open a file: random, random+, mapped, r, w or r+."},
    {"random_over_buffer", randomOverBuffer, METH_O, "An accessor over the memory of an object, which it keeps."},
    {"random_over_file", randomOverFile, METH_O, "An accessor over an object with the methods of a file."},
    {"stream_over_file", streamOverFile, METH_O, "A stream over an object with the methods of a file."},
    {"share_memory", shareMemory, METH_O, "The memory of an accessor as an array, None when it has none to share."},
    {"http_version", versionOverHttp, METH_O, "What tells versions of a resource over HTTP apart, None for any other."},
    {"http_counters", httpCounters, METH_O, "What an access over HTTP has done so far, None for any other."},
    {"bytes_from_mappings", bytesFromMappings, METH_NOARGS,
     "How many bytes of files were read from mappings, which the system does not count as read."},
    {}};
DirectFunctions const registered(methods);

} // namespace

} // namespace zarnik::python
