#pragma once

#include "zarnik/core/Export.h"

#include <string>
#include <vector>

namespace zarnik {

/// Returns the names of the vector units that this processor and this build of the library have in common, best first,
/// for example AVX3, AVX2, SSE4, SSSE3.
ZARNIK_API std::vector<std::string> vectorUnits();

/// Makes copies and conversions use one vector unit from now on, for measurements and for checks against each other.
/// Must not be called while any of them runs.
/// \param name One of `vectorUnits()`, "portable" for the plain loops, empty for the best one.
/// \throws InvalidArgument If the processor or the build has no such unit.
ZARNIK_API void useVectorUnit(std::string const & name);

} // namespace zarnik
