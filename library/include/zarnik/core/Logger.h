#pragma once

#include "zarnik/core/Export.h"

namespace zarnik {

/// How much the library logs; each level includes those before it.
enum class LogLevel {
  LOG_OFF = 0,
  LOG_CRITICAL = 1,
  LOG_ERR = 2,
  LOG_WARNING = 3,
  LOG_INFO = 4,
  LOG_DEBUG = 5,
  LOG_TRACE = 6
};

/// Switch of the library's logging system. Messages go to standard error.
class ZARNIK_API Logger {
public:
  /// Forces initialization of the logging system with
  /// a given log level.
  ///
  /// This should be called before any call to Zarnik.
  /// \param level The desired log level.
  ///              A value outside the levels stands for the nearest one.
  /// \warning If the logging system is already initialized,
  ///          its log level will not be changed.
  static void init(LogLevel level);

  /// Return the log level of the logging system.
  ///
  /// The first call without a preceding initialization initializes it to warnings.
  /// \return The level, one of the LogLevel constants.
  static LogLevel logLevel();
};

} // namespace zarnik
