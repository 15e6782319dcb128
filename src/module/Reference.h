#pragma once

#include "module/Python.h"

#include <utility>

namespace zarnik::python {

/// Owns one reference to a Python object, or none. Needs the interpreter's lock for everything but moves.
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

/// Owns one reference, or none, for an object of the library, which may go on any thread and at any time: without the
/// interpreter's lock, while the interpreter ends, or after it. Made with the lock.
///
/// A thread that Python knows takes the lock for the last release. Any other thread leaves the object to one that has
/// it, so it never waits for Python. After the interpreter's end the object is left to the operating system.
class KeptObject {
public:
  explicit KeptObject(Reference reference) : object_(reference.release()) {}
  KeptObject(KeptObject && other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  KeptObject & operator=(KeptObject && other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~KeptObject();

  PyObject * get() const { return object_; }

private:
  PyObject * object_;
};

/// Gives up the interpreter's lock while it lives. Nothing may throw Python's way, or touch its objects, meanwhile.
class WithoutLock {
public:
  WithoutLock();
  ~WithoutLock();
  WithoutLock(WithoutLock const &) = delete;
  WithoutLock & operator=(WithoutLock const &) = delete;

private:
  PyThreadState * state_;
};

} // namespace zarnik::python
