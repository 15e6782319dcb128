// The limits of access over HTTP.

#include "direct/Functions.h"
#include "module/Reference.h"
#include "zarnik/http/HttpOptions.h"

#include <climits>

namespace zarnik::python {

namespace {

// Every option by its name in Python; the one list for both directions.
template <typename Visit> void visitOptions(Visit visit, auto & options) {
  visit("cache_bytes", options.cacheBytes);
  visit("block_bytes", options.blockBytes);
  visit("gap_bytes", options.gapBytes);
  visit("request_bytes", options.requestBytes);
  visit("ranges_per_request", options.rangesPerRequest);
  visit("read_ahead_bytes", options.readAheadBytes);
  visit("parallel_requests", options.parallelRequests);
  visit("parallel_streams", options.parallelStreams);
  visit("redirects", options.redirects);
  visit("connect_seconds", options.connectSeconds);
  visit("stall_seconds", options.stallSeconds);
  visit("request_seconds", options.requestSeconds);
  visit("answer_seconds", options.answerSeconds);
  visit("retries", options.retries);
  visit("retry_seconds", options.retrySeconds);
  visit("back_off_seconds", options.backOffSeconds);
}

Reference numberOf(size_t value) { return Reference::steal(PyLong_FromSize_t(value)); }
Reference numberOf(unsigned value) { return Reference::steal(PyLong_FromUnsignedLong(value)); }
Reference numberOf(double value) { return Reference::steal(PyFloat_FromDouble(value)); }

void readNumber(PyObject * object, size_t & value) { value = PyLong_AsSize_t(object); }
void readNumber(PyObject * object, double & value) { value = PyFloat_AsDouble(object); }
void readNumber(PyObject * object, unsigned & value) {
  auto const wide = PyLong_AsUnsignedLong(object);
  if (!PyErr_Occurred() && wide > UINT_MAX)
    PyErr_Format(PyExc_OverflowError, "%R is too large", object);
  value = static_cast<unsigned>(wide);
}

void setItem(PyObject * names, char const * name, auto value) {
  auto const number = numberOf(value);
  if (!number || PyDict_SetItemString(names, name, number.get()) != 0)
    throw PendingError();
}

PyObject * httpOptions(PyObject *, PyObject *) {
  return guarded([&]() -> PyObject * {
    auto names = Reference::steal(PyDict_New());
    if (!names)
      return nullptr;
    auto const options = defaultHttpOptions();
    visitOptions([&](char const * name, auto value) { setItem(names.get(), name, value); }, options);
    return names.release();
  });
}

PyObject * setHttpOptions(PyObject *, PyObject * names) {
  return guarded([&]() -> PyObject * {
    if (!PyDict_Check(names)) {
      PyErr_Format(PyExc_TypeError, "a dict of options is needed, got %R", names);
      return nullptr;
    }
    auto options = defaultHttpOptions();
    Py_ssize_t known = 0;
    visitOptions(
        [&](char const * name, auto & value) {
          auto * const item = PyDict_GetItemString(names, name);
          if (!item)
            return;
          ++known;
          readNumber(item, value);
          if (PyErr_Occurred())
            throw PendingError();
        },
        options);
    if (known != PyDict_Size(names)) {
      PyErr_Format(PyExc_TypeError, "an option of %R is not one of http_options()", names);
      return nullptr;
    }
    setDefaultHttpOptions(options);
    return Reference::share(Py_None).release();
  });
}

PyMethodDef methods[] = {
    {"http_options", httpOptions, METH_NOARGS, "The limits of accessors over HTTP, by name; times in seconds."},
    {"set_http_options", setHttpOptions, METH_O,
     "Change limits of accessors over HTTP that will be opened: a dict of those to change."},
    {nullptr, nullptr, 0, nullptr},
};

DirectFunctions const registered(methods);

} // namespace

} // namespace zarnik::python
