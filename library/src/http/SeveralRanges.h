#pragma once

#include "http/HttpResource.h"

#include <span>
#include <vector>

namespace zarnik::http {

/// Asks for many ranges of a resource by few requests for several each, once. Many servers answer such requests with
/// the whole, or with the first range: what does not come as asked for is left to requests for one range each. \param
/// ranges  not empty, within the resource, in order and apart from each other \return those that have not arrived
/// \throws Error if the call was interrupted
std::vector<ByteRange> fetchSeveral(HttpResource & resource, std::span<ByteRange const> ranges, ByteSink & sink);

} // namespace zarnik::http
