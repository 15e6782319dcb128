#pragma once

#include <string>
#include <string_view>

namespace zarnik::platform {

/// Raises Error with the operation, the path and the system's reason, such as
/// `cannot open "/data/scan.raw" for reading: Permission denied`.
/// \param before     such as "cannot open"
/// \param path       quoted in the message
/// \param after      such as " for reading", may be empty
/// \param systemCode the errno of the failed call
[[noreturn]] void throwSystemError(std::string_view before, std::string const & path, std::string_view after,
                                   int systemCode);

/// The system's text for an errno.
std::string systemText(int systemCode);

} // namespace zarnik::platform
