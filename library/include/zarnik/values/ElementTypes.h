#pragma once

#include <cstddef>
#include <cstdint>

/// Calls MACRO(element type, suffix) for each element type, in the order in which every family lists its members.
/// One more line here, and in the list of the Python module, adds an element type to all families.
#define ZARNIK_FOR_EACH_ELEMENT_TYPE(MACRO)                                                                            \
  MACRO(uint8_t, u8)                                                                                                   \
  MACRO(int8_t, i8)                                                                                                    \
  MACRO(uint16_t, u16)                                                                                                 \
  MACRO(int16_t, i16)                                                                                                  \
  MACRO(uint32_t, u32)                                                                                                 \
  MACRO(int32_t, i32)                                                                                                  \
  MACRO(uint64_t, u64)                                                                                                 \
  MACRO(int64_t, i64)                                                                                                  \
  MACRO(float, f)                                                                                                      \
  MACRO(double, d)
