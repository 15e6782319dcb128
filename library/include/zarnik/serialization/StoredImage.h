#pragma once

#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

class ImageView;
class RandomAccess;

/// Open an image that Serialization::encodeImageView stored, without reading its samples.
///
/// Shape, type, properties and metadata are read and checked; samples are read when they are asked for, and their
/// hashes are not looked at. Over bytes in memory, such as a mapped file, the image has the capability MEMORY_ACCESS
/// and its samples are those bytes: writing to the image changes them, where the bytes can be written, and then the
/// hashes that were stored with them no longer fit.
/// \param access The bytes; the stored image begins at offset 0. The image keeps the accessor.
/// \return The image.
/// \throws InvalidArgument if there is no accessor, or it cannot be read
/// \throws Error if no stored image begins there
ZARNIK_API std::shared_ptr<ImageView> openImageView(std::shared_ptr<RandomAccess> access);

} // namespace zarnik
