#pragma once

#include "views/ValueConversion.h"
#include "zarnik/core/Export.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/values/RegionX.h"
#include "zarnik/values/VectorX.h"

namespace zarnik {

class ImageView;

/// The samples of an image that a transfer is about: `size` of them along each dimension, every `step`-th from `origin`
/// on, and of each the components from `firstComponent` on.
struct SampleRegion {
  /// All components of all samples of a region.
  static SampleRegion whole(RegionXu64 const & region, DataType type);

  bool isEmpty() const;

  VectorXu64 origin;
  VectorXu64 size;
  VectorXu64 step; ///< at least 1
  uint64_t firstComponent;
  uint64_t componentCount;
  /// The type and the shape that the caller found the image to have. Another thread may have reshaped it since.
  DataType type = {};
  VectorXu64 const * shape = nullptr;
};

/// Where the caller's memory has the samples of a region: bytes from one to the next along each dimension of the image,
/// and from component to component, modulo 2^64. So a dimension can run backwards, and in any order.
struct SampleStrides {
  VectorXu64 byteStrides;
  uint64_t componentStride;

  /// Dense samples with the first dimension fastest.
  static SampleStrides dense(VectorXu64 const & size, uint64_t componentCount, uint64_t componentBytes);
};

/// What an image view may implement beside its slots: to move any samples from or into memory of any geometry, with a
/// conversion on the way. Callers use readSamples and writeSamples, which have checked the region. A view that another
/// thread may reshape since checks it again, with requireFits, by the geometry that it moves samples of.
class ZARNIK_API StridedTransfer {
public:
  virtual ~StridedTransfer();

  /// \param region      not empty, inside of the image
  /// \param conversion  from the image's type to that of the memory
  /// \param destination the first component of the region's first sample
  virtual void readStrided(SampleRegion const & region, ValueConversion const & conversion, void * destination,
                           SampleStrides const & strides) = 0;

  /// \param conversion from the type of the memory to the image's
  virtual void writeStrided(SampleRegion const & region, ValueConversion const & conversion, void const * source,
                            SampleStrides const & strides) = 0;

  /// Whether writeStrided reads samples to write only some of their components.
  virtual bool readsToWriteComponents() const;

  /// Whether readStrided may read bytes between two addresses, see `mayTouch`. By default true: nothing is known.
  virtual bool mayTouchSources(void const * begin, void const * end) const;
};

/// \throws InvalidArgument if the region leaves an image of that geometry
/// \throws Error if it was made for an image of another one
void requireFits(SampleRegion const & region, Indexer const & indexer);

/// Reads samples of any image by the best way it offers: StridedTransfer, its memory, or readRegion in blocks of about
/// 1 MiB (or one tile). The memory is written once.
/// Memory that can be shared is held meanwhile: whatever happens to the image, freed memory is never read.
/// \throws InvalidArgument if the region leaves the image
/// \throws NotImplemented if the image cannot be read
/// \throws Error if the image was reshaped since the region was made
void readSamples(ImageView & image, SampleRegion const & region, ValueConversion const & conversion, void * destination,
                 SampleStrides const & strides);

/// Writes samples of any image. Where it offers only writeRegion, blocks in which samples or components stay as they
/// are, are read first.
void writeSamples(ImageView & image, SampleRegion const & region, ValueConversion const & conversion,
                  void const * source, SampleStrides const & strides);

/// Whether writeSamples has to read an image to write only some components of its samples.
bool readsToWriteComponents(ImageView const & image);

/// For views over memory: reads samples of an image whose element with index 0 is at `memory`.
void readMemory(Indexer const & indexer, void const * memory, SampleRegion const & region,
                ValueConversion const & conversion, void * destination, SampleStrides const & strides);

/// For views over memory: writes samples of an image whose element with index 0 is at `memory`.
void writeMemory(Indexer const & indexer, void * memory, SampleRegion const & region,
                 ValueConversion const & conversion, void const * source, SampleStrides const & strides);

/// Shape and type of an image, also while another thread reshapes it.
struct ImageGeometry {
  VectorXu64 shape;
  DataType type;
};
ImageGeometry geometryOf(ImageView const & image);

/// \throws Error unless the geometry is that of an image when it was taken
void requireUnchanged(VectorXu64 const & shape, DataType type, ImageGeometry const & now);

/// \throws InvalidArgument unless the region lies within the shape
void requireInside(RegionXu64 const & region, VectorXu64 const & shape);

} // namespace zarnik
