#include "zarnik/serialization/StoredImage.h"

#include "core/Guarded.h"
#include "serialization/ImageCodec.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccessFactory.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/ImageViewFactory.h"

namespace zarnik {

std::shared_ptr<ImageView> openImageView(std::shared_ptr<RandomAccess> access) {
  if (!access)
    throw InvalidArgument("there is no accessor to open a stored image from");
  return guarded([&] {
    format::ObjectReader reader(StreamAccessFactory::fromRandomAccess(access), format::Kind::IMAGE, "an ImageView");
    auto const header = format::readImageHeader(reader);
    auto const samples = RandomAccessFactory::extractRegion(access, reader.position(), header.sampleBytes);
    return ImageViewFactory::fromRandomAccess(samples, MemoryLayout::FORTRAN, header.shape, header.dataType,
                                              header.properties, header.metadata);
  });
}

} // namespace zarnik
