#include "zarnik/core/Error.h"

#include <exception>
#include <utility>

namespace zarnik {

Error::Error(std::string const & message) {
  try {
    message_ = message;
  } catch (std::exception const &) {
    message_ = "out of memory"; // short enough to be kept without an allocation
  }
}

Error::Error(Error const & other) = default;
Error::Error(Error && other) noexcept = default;
Error::~Error() = default;

char const * Error::what() const noexcept { return message_.c_str(); }

InvalidArgument::InvalidArgument(std::string const & message) : Error(message) {}
InvalidArgument::~InvalidArgument() = default;

NotImplemented::NotImplemented(std::string const & message) : Error(message) {}
NotImplemented::~NotImplemented() = default;

} // namespace zarnik
