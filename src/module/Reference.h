#pragma once

#include "module/Python.h"

#include <utility>

namespace zarnik::python {

/// Owns one reference to a Python object, or none. Needs the interpreter lock for everything but moves.
class Reference {
public:
  Reference() = default;
  Reference(Reference const & other) : object_(other.object_) { Py_XINCREF(object_); }
  Reference(Reference && other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Reference & operator=(Reference other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Reference() { Py_XDECREF(object_); }

  /// Takes over a reference that the caller owns, such as the result of most Python functions.
  static Reference steal(PyObject * object) { return Reference(object); }
  /// Adds a reference to an object that somebody else holds.
  static Reference share(PyObject * object) {
    Py_XINCREF(object);
    return Reference(object);
  }

  PyObject * get() const { return object_; }
  /// Hands the reference to the caller.
  PyObject * release() { return std::exchange(object_, nullptr); }
  explicit operator bool() const { return object_ != nullptr; }

private:
  explicit Reference(PyObject * object) : object_(object) {}

  PyObject * object_ = nullptr;
};

} // namespace zarnik::python
