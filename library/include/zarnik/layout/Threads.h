#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>

namespace zarnik {

/// Returns the number of threads that a large copy or conversion may use, the calling one included.
///
/// The environment variable `ZARNIK_NUM_THREADS` sets it when the library is first used, 0 standing for the number of
/// processors. Without it one thread is used: callers often run on several threads of their own already.
ZARNIK_API size_t threadCount();

/// Sets the number of threads that a large copy or conversion may use. Results are the same for any number.
/// \param count The number of threads, 0 for the number of processors. At most 256 are used.
ZARNIK_API void setThreadCount(size_t count);

} // namespace zarnik
