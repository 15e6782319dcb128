#pragma once

#include <cstddef>

// The library of Highway measures its timer for milliseconds whenever it is loaded. All that its headers need of it to
// choose between the units that a kernel is compiled for are these few lines, so that optimized builds go without it.

namespace zarnik::layout {

/// Which of the functions of a table is for the unit in use.
size_t placeOfVectorUnit();

} // namespace zarnik::layout

/// The functions of a kernel for each unit. It stands where the kernel's HWY_NAMESPACE does.
#define ZARNIK_VECTOR_KERNEL(NAME)                                                                                     \
  static decltype(&HWY_STATIC_DISPATCH(NAME))                                                                          \
      const NAME##OfUnits[] = {nullptr, HWY_CHOOSE_TARGET_LIST(NAME), HWY_CHOOSE_FALLBACK(NAME)}

#define ZARNIK_VECTOR_DISPATCH(NAME) (*NAME##OfUnits[placeOfVectorUnit()])
