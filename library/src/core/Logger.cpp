#include "zarnik/core/Logger.h"

#include "core/Logging.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fmt/chrono.h>
#include <fmt/format.h>

namespace zarnik {

namespace {

constexpr auto DEFAULT_LEVEL = LogLevel::LOG_WARNING;
constexpr char const * LEVEL_NAMES[] = {"off", "critical", "error", "warning", "info", "debug", "trace"};

// The first caller decides.
LogLevel levelOfLog(LogLevel wanted) {
  static LogLevel const level = std::clamp(wanted, LogLevel::LOG_OFF, LogLevel::LOG_TRACE);
  return level;
}

} // namespace

void Logger::init(LogLevel level) { levelOfLog(level); }

LogLevel Logger::logLevel() { return levelOfLog(DEFAULT_LEVEL); }

void logMessage(LogLevel level, std::string_view message) noexcept {
  if (level > levelOfLog(DEFAULT_LEVEL))
    return;
  try {
    using std::chrono::system_clock;
    auto const now = system_clock::now();
    auto const milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    // In one piece, so that the lines of several threads do not mix.
    auto const line =
        fmt::format("[{:%H:%M:%S}.{:03}] [zarnik] [{}] {}\n", fmt::localtime(system_clock::to_time_t(now)),
                    milliseconds, LEVEL_NAMES[static_cast<int>(level)], message);
    std::fwrite(line.data(), 1, line.size(), stderr);
  } catch (std::exception const &) {
    // There is not even the memory to say so.
  }
}

} // namespace zarnik
