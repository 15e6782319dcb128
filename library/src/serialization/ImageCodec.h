#pragma once

#include "serialization/ObjectReader.h"
#include "serialization/ObjectWriter.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/VectorX.h"

#include <memory>

namespace zarnik {

class ImageView;

namespace format {

/// All of an image but its samples.
struct ImageHeader {
  VectorXu64 shape;
  DataType dataType;
  std::shared_ptr<ImageProperties> properties;
  std::shared_ptr<MetadataNode> metadata;
  uint64_t sampleBytes = 0;
};

/// Writes what stands before the samples, and begins their section.
void writeImageHeader(ObjectWriter & writer, ImageView const & image);

/// Reads what stands before the samples; the reader is then at their first byte.
ImageHeader readImageHeader(ObjectReader & reader);

void encodeImage(std::shared_ptr<ImageView> const & image, std::shared_ptr<StreamAccess> stream);
std::shared_ptr<ImageView> decodeImage(std::shared_ptr<StreamAccess> stream);

} // namespace format
} // namespace zarnik
