#pragma once

#include "zarnik/views/ViewOriginExtension.h"

#include <memory>
#include <string>
#include <vector>

namespace zarnik {

class View;

/// The origin of a view made from others. Its display name tells what its parent was and what was done to it since, of
/// a long chain the begin. It is put together when it is asked for: a view keeps its own deed only.
/// \param deed what was done to the parents, such as "flipped along ROW"
std::shared_ptr<ViewOriginExtension> originByDeed(std::string deed, std::vector<std::shared_ptr<View>> const & parents);

} // namespace zarnik
