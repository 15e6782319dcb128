#include "layout/CacheSize.h"

#include <initializer_list>

#if __has_include(<unistd.h>)
#include <unistd.h>
#endif

namespace zarnik::layout {

namespace {

size_t lastLevelCacheBytes() {
#if defined(_SC_LEVEL3_CACHE_SIZE)
  for (int level : {_SC_LEVEL4_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE, _SC_LEVEL2_CACHE_SIZE}) {
    long const bytes = sysconf(level);
    if (bytes > 0) {
      return static_cast<size_t>(bytes);
    }
  }
#endif
  return size_t{8} << 20;
}

} // namespace

size_t streamingThresholdBytes() {
  static size_t const threshold = lastLevelCacheBytes() / 4 * 3;
  return threshold;
}

} // namespace zarnik::layout
