#pragma once

#include "zarnik/core/Versioning.h"

namespace zarnik {

/// The library version that the module was built for.
inline VersionInfo ZARNIK_VERSION = HEADER_VERSION;
inline char const * const ZARNIK_VERSION_STRING = "1.11.0";
static_assert(HEADER_VERSION.major == 1 && HEADER_VERSION.minor == 11 && HEADER_VERSION.patch == 0);

} // namespace zarnik
