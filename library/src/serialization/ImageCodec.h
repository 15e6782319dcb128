#pragma once

#include "serialization/ObjectReader.h"
#include "serialization/ObjectWriter.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/VectorX.h"
#include "zarnik/views/SharedSamples.h"

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

/// The samples of an image in the order in which they are stored, a block at a time: about 1 MiB, or 64 MiB of what
/// lies in memory as it is stored.
class SampleBlocks {
public:
  explicit SampleBlocks(std::shared_ptr<ImageView> image);

  uint64_t count() const { return count_; }
  /// Writes a block to the open section: straight from memory where the samples lie as they are stored.
  void write(uint64_t index, ObjectWriter & writer);

private:
  std::shared_ptr<ImageView> image_;
  SharedSamples stored_; ///< of an image that has them in memory as they are stored
  VectorXu64 shape_;
  VectorXu64 runs_; ///< the size of a block
  uint64_t count_ = 1;
  DataType type_;
  std::unique_ptr<std::byte[]> scratch_;
};

/// \throws Error if the image cannot be stored
void requireStorable(std::shared_ptr<ImageView> const & image);

/// Writes what stands before the samples, and begins their section.
void writeImageHeader(ObjectWriter & writer, ImageView const & image);

/// Reads what stands before the samples; the reader is then at their first byte.
ImageHeader readImageHeader(ObjectReader & reader);

void encodeImage(std::shared_ptr<ImageView> const & image, std::shared_ptr<StreamAccess> stream);
std::shared_ptr<ImageView> decodeImage(std::shared_ptr<StreamAccess> stream);

} // namespace format
} // namespace zarnik
