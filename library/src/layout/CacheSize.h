#pragma once

#include <cstddef>

namespace zarnik::layout {

/// Bytes written by one operation above which it bypasses the caches: three quarters of the last-level cache, so that
/// what is left of the cache still holds what the caller was working with. Asked of the system once.
size_t streamingThresholdBytes();

} // namespace zarnik::layout
