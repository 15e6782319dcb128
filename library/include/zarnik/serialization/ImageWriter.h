#pragma once

#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

class ImageView;
class StreamAccess;
class Writer;

/// Make a writer that stores an image as Serialization::encodeImageView does, block by block.
///
/// Its options are integers: "block_bytes" (1024 to 2^30, by default 2^20) how many bytes have a hash of their own,
/// "checksums" (0 or 1, by default 1) whether they have, and "alignment" (a power of two from 8 to 65536, by default
/// 64) at a multiple of which the samples begin, counted from where the stream stands. A block of samples that cannot
/// be read can be tried again; a stream that fails has lost its place, the writer is of no use then.
/// \param image  the image, which the writer keeps; it must not be reshaped until the writing is finished
/// \param stream the stream that takes the bytes, from where it stands; it is flushed at the end
/// \return The writer.
/// \throws InvalidArgument if there is no image or no stream, or the type of the samples cannot be stored
/// \throws NotImplemented if the image cannot be read
ZARNIK_API std::shared_ptr<Writer> makeImageWriter(std::shared_ptr<ImageView> image,
                                                   std::shared_ptr<StreamAccess> stream);

} // namespace zarnik
