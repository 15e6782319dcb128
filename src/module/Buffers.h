#pragma once

#include "module/Reference.h"

#include <cstddef>

namespace zarnik::python {

/// The memory that an object offers through the buffer interface, which stays where it is as long as this lives: a
/// bytearray, say, cannot be resized meanwhile.
template <typename Byte> struct Buffer {
  Byte * data = nullptr;
  std::size_t size = 0;
  Reference pin{};
};

/// Gives false, with no error pending, when the object offers no such contiguous memory.
bool readWritableBuffer(PyObject * object, Buffer<void> & buffer);
bool readReadableBuffer(PyObject * object, Buffer<void const> & buffer);

} // namespace zarnik::python
