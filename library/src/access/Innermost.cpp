#include "access/Innermost.h"

#include "access/CursorStream.h"
#include "access/RegionAccess.h"
#include "access/StreamedAccess.h"

namespace zarnik {

DataAccess const & innermost(DataAccess const & access) {
  auto const * current = &access;
  while (true) {
    if (auto const * const cursor = exactly<CursorStream>(*current))
      current = cursor->bytes().get();
    else if (auto const * const region = exactly<RegionAccess>(*current))
      current = region->source().get();
    else if (auto const * const streamed = exactly<StreamedAccess>(*current))
      current = streamed->stream().get();
    else
      return *current;
  }
}

} // namespace zarnik
