#pragma once

#include "zarnik/access/StreamAccess.h"
#include "zarnik/frames/DataFrameView.h"

#include <memory>

namespace zarnik::format {

void encodeFrame(std::shared_ptr<DataFrameView> const & frame, std::shared_ptr<StreamAccess> stream);
std::shared_ptr<DataFrameView> decodeFrame(std::shared_ptr<StreamAccess> stream);

} // namespace zarnik::format
