#include "access/Innermost.h"

#include "access/CursorStream.h"
#include "access/RegionAccess.h"
#include "access/StreamedAccess.h"

namespace zarnik {

DataAccess const & innermost(DataAccess const & access) {
  auto const * current = &access;
  while (true) {
    if (auto const * const cursor = dynamic_cast<CursorStream const *>(current))
      current = cursor->bytes().get();
    else if (auto const * const region = dynamic_cast<RegionAccess const *>(current))
      current = region->source().get();
    else if (auto const * const streamed = dynamic_cast<StreamedAccess const *>(current))
      current = streamed->stream().get();
    else
      return *current;
  }
}

} // namespace zarnik
