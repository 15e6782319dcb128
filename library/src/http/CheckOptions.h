#pragma once

#include "zarnik/http/HttpOptions.h"

namespace zarnik::http {

/// \throws InvalidArgument naming the first option that is out of its range
void checkOptions(HttpOptions const & options);

} // namespace zarnik::http
