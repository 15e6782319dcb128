#include "zarnik/core/Error.h"

#include <utility>

namespace zarnik {

Error::Error(std::string const & message) : message_(message) {}
Error::Error(Error const & other) = default;
Error::Error(Error && other) noexcept = default;
Error::~Error() = default;

char const * Error::what() const noexcept { return message_.c_str(); }

InvalidArgument::InvalidArgument(std::string const & message) : Error(message) {}
InvalidArgument::~InvalidArgument() = default;

NotImplemented::NotImplemented(std::string const & message) : Error(message) {}
NotImplemented::~NotImplemented() = default;

} // namespace zarnik
