#pragma once

#include "zarnik/core/Logger.h"

#include <exception>
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace zarnik {

/// Writes a line to the library's log, which is opened with the default level when nobody did before.
void logMessage(LogLevel level, std::string_view message) noexcept;

/// The library's log: for what nobody is left to be told, such as a failure in a destructor, or what was overcome,
/// such as a request that was repeated. Logging itself never fails.
struct Log {
  template <typename... Arguments>
  void error(fmt::format_string<Arguments...> format, Arguments &&... arguments) const noexcept {
    write(LogLevel::LOG_ERR, format, std::forward<Arguments>(arguments)...);
  }
  template <typename... Arguments>
  void warn(fmt::format_string<Arguments...> format, Arguments &&... arguments) const noexcept {
    write(LogLevel::LOG_WARNING, format, std::forward<Arguments>(arguments)...);
  }
  template <typename... Arguments>
  void info(fmt::format_string<Arguments...> format, Arguments &&... arguments) const noexcept {
    write(LogLevel::LOG_INFO, format, std::forward<Arguments>(arguments)...);
  }

private:
  template <typename... Arguments>
  static void write(LogLevel level, fmt::format_string<Arguments...> format, Arguments &&... arguments) noexcept {
    try {
      logMessage(level, fmt::format(format, std::forward<Arguments>(arguments)...));
    } catch (std::exception const &) {
      logMessage(level, "a message for which there is no memory");
    }
  }
};

inline Log logger() { return {}; }

} // namespace zarnik
