#include "platform/SystemError.h"

#include "core/Guarded.h"
#include "zarnik/core/Error.h"

#include <system_error>

namespace zarnik::platform {

void throwSystemError(std::string_view before, std::string const & path, std::string_view after, int systemCode) {
  throw Error(message("{} \"{}\"{}: {}", before, path, after, systemText(systemCode)));
}

std::string systemText(int systemCode) {
  return guarded([&] { return std::generic_category().message(systemCode); });
}

} // namespace zarnik::platform
