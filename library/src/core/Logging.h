#pragma once

#include <spdlog/spdlog.h>

namespace zarnik {

/// The library's logger, created with the default level when nobody initialized it before.
spdlog::logger & logger();

} // namespace zarnik
