#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>

namespace zarnik {

/// Returns the number of threads that a large copy, conversion or hash may use, the calling one included.
///
/// The environment variable `ZARNIK_NUM_THREADS` sets it when the library is first used, 0 standing for the number of
/// processors that the process may use. Without it that number is used up to 4: more wait for the memory. A caller that
/// finds the threads at work for another one does without them.
ZARNIK_API size_t threadCount();

/// Sets the number of threads that a large copy, conversion or hash may use. Results are the same for any number.
/// \param count The number of threads, 0 for the number of processors that the process may use. At most 256 are used.
ZARNIK_API void setThreadCount(size_t count);

} // namespace zarnik
