#pragma once

#include "module/Buffers.h"
#include "module/Errors.h"
#include "module/Python.h"
#include "module/Reference.h"
#include "module/Runtime.h"
#include "module/Self.h"
#include "zarnik/core/Error.h"

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace zarnik {
class DataType;
enum class ImageDimension;
} // namespace zarnik

namespace zarnik::python {

/// What an operator answers with NotImplemented: operands of another type, or also those out of range.
enum class Unfit { TYPE, TYPE_OR_RANGE };

/// A Python error that a conversion left behind. It is put aside, so that the call can be made as if nothing had
/// happened, and makes the call fail when it is over.
class HeldError {
public:
  /// Puts the pending error aside, if there is one; the first one is kept.
  void take();

  /// Replaces a wrapper's result by a SystemError caused by the error, unless the wrapper failed anyway. An operator
  /// gives NotImplemented for what does not fit it, as for all others of this kind.
  void settle(PyObject *& result, char const * wrapper, Unfit unfit = Unfit::TYPE);

private:
  Reference value_;
};

/// Reads an int as a signed 32-bit value, whatever the width of the platform's long.
/// Another object, or an int out of range, gives -1 and leaves Python's error pending.
int32_t readLong32(PyObject * object);

/// A data type from a wrapped one or, read with readLong32 and sign-extended, from an id. As there, an object that
/// is neither gives the id of all bits set and an error: callers rely on both.
DataType readDataType(PyObject * object, swig_type_info * dataTypeInfo, HeldError & held);

/// Whether the object is a wrapped data type or an int, for the choice among overloads.
bool isDataType(PyObject * object, swig_type_info * dataTypeInfo);

/// The dimensions in a sequence of ints; on failure raises TypeError "not a list" or "list must contain
/// ImageDimension" and returns false.
bool readImageDimensions(PyObject * object, std::vector<ImageDimension> & dimensions);

/// Whether the wrapper's name is that of an operator such as Vector3d___add__.
bool isOperator(char const * wrapper);

/// Whether the wrapper's name is that of an operator such as Vector3d___iadd__, which raises what others answer with
/// NotImplemented.
bool isInPlaceOperator(char const * wrapper);

/// Whether an object can stand for a vector argument: a wrapped vector of that type or any sequence but a str.
bool isVector(PyObject * object, swig_type_info * vectorInfo);

/// Sequences that stand for vectors, item by item; errors as the vector arguments have them.
class SequenceReader {
public:
  /// Raises ValueError "input must be a sequence" or "input sequence must be sized"; a str given to an operator
  /// raises TypeError, so that Python may try the other operand.
  bool open(PyObject * object, char const * wrapper);
  std::size_t size() const { return size_; }
  /// The item at a position; null with an error pending when the sequence fails to give it.
  Reference item(std::size_t index) const;

private:
  enum class Kind { LIST, TUPLE, OTHER };

  PyObject * object_ = nullptr;
  std::size_t size_ = 0;
  Kind kind_ = Kind::OTHER;
};

/// One item of a sequence as a vector component.
/// Ints are read as signed 32-bit values and narrowed without a range check, whatever the component's width.
/// \throws Error if the item is of another type
template <typename T> T readItem(PyObject * item, HeldError & held) {
  auto const readInt = [&] {
    auto const value = readLong32(item);
    if (value == -1)
      held.take();
    return static_cast<T>(value);
  };
  if constexpr (std::is_floating_point_v<T>) {
    if (PyFloat_Check(item))
      return static_cast<T>(PyFloat_AsDouble(item));
    if (PyLong_Check(item))
      return readInt();
    throw Error("invalid item in sequence - expected long or float value");
  } else {
    if (PyLong_Check(item))
      return readInt();
    throw Error("invalid item in sequence - expected long value");
  }
}

/// Makes room for a number of components; false when a vector of fixed size cannot hold that many.
template <typename V> bool resizeVector(V & vector, std::size_t size) {
  if constexpr (std::is_constructible_v<V, std::size_t>) {
    vector = V(size);
    return true;
  } else {
    return vector.size() == size;
  }
}

/// The vector that an argument stands for: a wrapped one itself, or `temporary` filled from a sequence.
/// Null, with an error pending, when it is neither.
template <typename V>
V * readVector(PyObject * object, V & temporary, swig_type_info * vectorInfo, char const * wrapper, HeldError & held) {
  if (object != Py_None)
    if (auto * const wrapped = wrappedPointer(object, vectorInfo))
      return static_cast<V *>(wrapped);
  try {
    SequenceReader sequence;
    if (!sequence.open(object, wrapper))
      return nullptr;
    if (!resizeVector(temporary, sequence.size())) {
      PyErr_SetString(PyExc_ValueError, "input sequence has invalid length");
      return nullptr;
    }
    for (std::size_t i = 0; i < sequence.size(); ++i) {
      auto const item = sequence.item(i);
      if (!item)
        return nullptr;
      try {
        temporary[i] = readItem<typename V::ValueType>(item.get(), held);
      } catch (Error const & error) {
        PyErr_SetString(PyExc_TypeError, error.what());
        return nullptr;
      }
    }
    return &temporary;
  } catch (...) {
    translateException();
    return nullptr;
  }
}

} // namespace zarnik::python
