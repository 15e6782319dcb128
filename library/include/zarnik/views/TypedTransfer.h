#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/RegionX.h"
#include "zarnik/values/VectorX.h"

#include <cstdint>

namespace zarnik {

class ImageView;

/// Reads a region as ImageView::readRegion does, for callers who gave the buffer its size by the type that the image
/// had before: if another thread has reshaped the image to another type since, that is an error, and nothing is read.
/// \param region      the region, inside of the image; an empty one reads nothing
/// \param type        the type of the samples that the destination has room for
/// \param destination receives region.elementCount() * type.byteCount() bytes, the first dimension fastest
/// \throws Error if the image has another type
/// \throws InvalidArgument if the region leaves the image
/// \throws NotImplemented if the image does not support READ
ZARNIK_API void readRegionAs(ImageView & image, RegionXu64 const & region, DataType type, void * destination);

/// The same into memory of any geometry.
/// \param byteStrides     bytes from one sample to the next along each dimension, modulo 2^64
/// \param componentStride bytes from one component of a sample to the next
ZARNIK_API void readRegionAs(ImageView & image, RegionXu64 const & region, DataType type, void * destination,
                             VectorXu64 const & byteStrides, uint64_t componentStride);

/// Whether reading an image may read bytes between two addresses, whichever views it was made from. False only where
/// that is known not to be: memory that lies elsewhere, a drive, a server.
ZARNIK_API bool mayTouch(ImageView const & image, void const * begin, void const * end);

/// Writes a region as ImageView::writeRegion does, see readRegionAs.
/// \param source region.elementCount() * type.byteCount() bytes
ZARNIK_API void writeRegionAs(ImageView & image, RegionXu64 const & region, DataType type, void const * source);

} // namespace zarnik
