#pragma once

#include "zarnik/access/DataAccess.h"

namespace zarnik {

/// What an accessor is over in the end, when it is a region, or a cursor, or both, of the library's own; else itself.
DataAccess const & innermost(DataAccess const & access);

} // namespace zarnik
