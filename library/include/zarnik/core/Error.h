#pragma once

#include "zarnik/core/Export.h"

#include <exception>
#include <string>

namespace zarnik {

/// Base class of every error that the library raises.
class ZARNIK_API Error : public std::exception {
public:
  /// Create an error with a message.
  /// \param message What went wrong, naming the value and what was allowed.
  explicit Error(std::string const & message);

  /// Copy an error.
  Error(Error const & other);

  /// Take over the message of another error.
  Error(Error && other) noexcept;

  /// Destroy the error.
  ~Error() override;

#ifndef SWIG
  Error & operator=(Error const & other) = default;
  Error & operator=(Error && other) noexcept = default;
#endif

  /// Return the message of the error.
  /// \return The text that the error was created with.
  char const * what() const noexcept override;

private:
  std::string message_;
};

/// Error raised when an argument is outside of what the operation accepts.
class ZARNIK_API InvalidArgument : public Error {
public:
  /// Create an error with a message.
  /// \param message Which argument was refused, its value and what was allowed.
  explicit InvalidArgument(std::string const & message);

#ifndef SWIG
  InvalidArgument(InvalidArgument const & other) = default;
  InvalidArgument & operator=(InvalidArgument const & other) = default;
#endif

  /// Destroy the error.
  ~InvalidArgument() override;
};

/// Error raised when an object does not offer the operation asked for.
class ZARNIK_API NotImplemented : public Error {
public:
  /// Create an error with a message.
  /// \param message Which operation is not offered, and by what.
  explicit NotImplemented(std::string const & message);

#ifndef SWIG
  NotImplemented(NotImplemented const & other) = default;
  NotImplemented & operator=(NotImplemented const & other) = default;
#endif

  /// Destroy the error.
  ~NotImplemented() override;
};

} // namespace zarnik
