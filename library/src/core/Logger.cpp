#include "zarnik/core/Logger.h"

#include "core/Logging.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace zarnik {

namespace {

constexpr auto DEFAULT_LEVEL = LogLevel::LOG_WARNING;

spdlog::level::level_enum toBackEnd(LogLevel level) {
  constexpr spdlog::level::level_enum table[] = {spdlog::level::off,  spdlog::level::critical, spdlog::level::err,
                                                 spdlog::level::warn, spdlog::level::info,     spdlog::level::debug,
                                                 spdlog::level::trace};
  return table[static_cast<int>(level)];
}

struct Logging {
  explicit Logging(LogLevel wanted)
      : level(std::clamp(wanted, LogLevel::LOG_OFF, LogLevel::LOG_TRACE)),
        backEnd("zarnik", std::make_shared<spdlog::sinks::stderr_sink_mt>()) {
    backEnd.set_level(toBackEnd(level));
    backEnd.set_pattern("[%H:%M:%S.%e] [%n] [%l] %v");
  }

  LogLevel level;
  spdlog::logger backEnd;
};

// Never destroyed: worker threads may log while the process ends.
Logging & logging(LogLevel wanted) {
  static auto & instance = *new Logging(wanted);
  return instance;
}

} // namespace

void Logger::init(LogLevel level) { logging(level); }

LogLevel Logger::logLevel() { return logging(DEFAULT_LEVEL).level; }

void logMessage(LogLevel level, std::string_view message) noexcept {
  try {
    logging(DEFAULT_LEVEL).backEnd.log(toBackEnd(level), message);
  } catch (std::exception const &) {
    // There is not even the memory to say so.
  }
}

} // namespace zarnik
