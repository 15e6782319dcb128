#include "zarnik/core/Versioning.h"

#include <fmt/format.h>

namespace zarnik {

VersionInfo Versioning::version() { return HEADER_VERSION; }

std::string Versioning::versionString() {
  auto const loaded = version();
  return fmt::format("{}.{}.{}", loaded.major, loaded.minor, loaded.patch);
}

bool Versioning::checkCompatibility(VersionInfo const & wanted) {
  auto const loaded = version();
  return loaded.major == wanted.major && loaded.minor >= wanted.minor;
}

} // namespace zarnik
