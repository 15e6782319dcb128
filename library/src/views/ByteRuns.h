#pragma once

#include "views/RegionTransfer.h"
#include "zarnik/access/RandomAccess.h"

namespace zarnik {

/// Reads samples of an image that lies dense in an accessor. See `RandomAccessImageView`.
/// \param indexer where in the accessor's bytes each element is
/// \param region  not empty, inside of the image
/// \throws Error if they cannot be read
void readRuns(RandomAccess & access, Indexer const & indexer, SampleRegion const & region,
              ValueConversion const & conversion, void * destination, SampleStrides const & strides);

/// Writes samples. Where only some components of them are written, the others are read, if that is possible.
/// \throws Error if they cannot be written
void writeRuns(RandomAccess & access, Indexer const & indexer, SampleRegion const & region,
               ValueConversion const & conversion, void const * source, SampleStrides const & strides);

/// Whether writeRuns reads before it writes.
bool readsToWrite(RandomAccess & access, DataType type, SampleRegion const & region);

} // namespace zarnik
