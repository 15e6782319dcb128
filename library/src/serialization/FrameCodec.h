#pragma once

#include "zarnik/access/StreamAccess.h"
#include "zarnik/core/Progress.h"
#include "zarnik/frames/DataFrameView.h"

#include <memory>

namespace zarnik::format {

/// \param progress told of the cells that are written; may be empty
void encodeFrame(std::shared_ptr<DataFrameView> const & frame, std::shared_ptr<StreamAccess> stream,
                 Progress const & progress = {});
std::shared_ptr<DataFrameView> decodeFrame(std::shared_ptr<StreamAccess> stream);

} // namespace zarnik::format
