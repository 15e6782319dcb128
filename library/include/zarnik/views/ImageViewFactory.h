#pragma once

#include "zarnik/metadata/ImageInterpretation.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/values/RegionX.h"
#include "zarnik/values/Vector.h"
#include "zarnik/values/VectorX.h"

#include <cstddef>
#include <memory>
#include <string>

#ifndef SWIG
#include "zarnik/core/Progress.h"
#endif

namespace zarnik {

#ifndef SWIG
class ImageProperties;
class ImageView;
class MetadataNode;
class MultiImageView;
class RandomAccess;
#endif

/// Makes image views.
///
/// Views made from other views are lazy: nothing is read before they are, and they show the other view as it is at any
/// time. Chains of them are one step: a region is read from the image at their end once, and converted on the way, with
/// about 1 MiB of memory. Calibration and metadata follow the samples. Views that change the geometry only, of an image
/// in memory, are in memory too. What is written to a view goes to the image that it was made from.
/// A view cannot be used any more once that image has been reshaped.
class ZARNIK_API ImageViewFactory {
public:
  /// Create an image in memory, all samples 0.
  ///
  /// Capabilities are READ, WRITE, RESHAPE and MEMORY_ACCESS. Memory that was handed out stays valid
  /// as long as the image lives, also after it was reshaped.
  /// \param shape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \param properties The properties, of which the image keeps a copy; null for the default ones.
  /// \param metadata The root node of the metadata, of which the image keeps a copy; may be null.
  /// \return The new image.
  /// \throws InvalidArgument if the properties do not fit shape and type, or the type is not numeric.
  /// \throws Error if there is not enough memory.
  static std::shared_ptr<ImageView> allocate(VectorXu64 const & shape, DataType dataType,
                                             std::shared_ptr<ImageProperties> properties,
                                             std::shared_ptr<MetadataNode> metadata);

  /// Create an image in memory with default properties and no metadata, all samples 0.
  ///
  /// The dimensions are taken as COLUMN, ROW, SLICE, SEQUENCE for up to 4, as all five for 5, and as
  /// unknown for more.
  /// \param shape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \return The new image.
  /// \throws InvalidArgument if the type is not numeric.
  /// \throws Error if there is not enough memory.
  static std::shared_ptr<ImageView> allocate(VectorXu64 const & shape, DataType dataType);

  /// Copy an image into memory.
  ///
  /// If the input image already is in memory, return it (no copy are done). Capabilities of a copy are READ, WRITE,
  /// RESHAPE and MEMORY_ACCESS. The copy has the properties and the metadata of the image.
  /// \param image The image to copy.
  /// \return The copy, or the image itself.
  /// \throws InvalidArgument if the image is null, or its properties are not valid.
  /// \throws NotImplemented if the image cannot be read.
  /// \throws Error if there is not enough memory.
  static std::shared_ptr<ImageView> copyInMemory(std::shared_ptr<ImageView> image);

  /// Create an image in a raw temporary file in a folder, all samples 0.
  ///
  /// Capabilities are READ, WRITE and RESHAPE. The file takes room where samples were written. The created file is
  /// automatically deleted when destroying the image.
  /// \param folder The folder, which exists; "" for the usual folder of temporary files.
  /// \param imageShape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \param properties The properties, of which the image keeps a copy; null for the default ones.
  /// \param metadata The root node of the metadata, of which the image keeps a copy; may be null.
  /// \return The new image.
  /// \throws InvalidArgument if the folder does not exist or the type is not numeric.
  /// \throws Error if the properties do not fit shape and type, or the file cannot be made.
  static std::shared_ptr<ImageView> createOnDisk(std::string const & folder, VectorXu64 const & imageShape,
                                                 DataType dataType, std::shared_ptr<ImageProperties> properties,
                                                 std::shared_ptr<MetadataNode> metadata);

  /// Create an image with default properties and no metadata in a raw temporary file in a folder, all samples 0.
  ///
  /// Capabilities are READ, WRITE and RESHAPE. The created file is automatically deleted when destroying the image.
  /// \param folder The folder, which exists; "" for the usual folder of temporary files.
  /// \param imageShape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \return The new image.
  /// \throws InvalidArgument if the folder does not exist or the type is not numeric.
  /// \throws Error if the file cannot be made.
  static std::shared_ptr<ImageView> createOnDisk(std::string const & folder, VectorXu64 const & imageShape,
                                                 DataType dataType);

  /// Create an image in a raw temporary file in the usual folder of temporary files (TMPDIR), all samples 0.
  ///
  /// Capabilities are READ, WRITE and RESHAPE. The created file is automatically deleted when destroying the image.
  /// \param imageShape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \param properties The properties, of which the image keeps a copy; null for the default ones.
  /// \param metadata The root node of the metadata, of which the image keeps a copy; may be null.
  /// \return The new image.
  /// \throws InvalidArgument if the type is not numeric.
  /// \throws Error if the properties do not fit shape and type, or the file cannot be made.
  static std::shared_ptr<ImageView> createOnDisk(VectorXu64 const & imageShape, DataType dataType,
                                                 std::shared_ptr<ImageProperties> properties,
                                                 std::shared_ptr<MetadataNode> metadata);

  /// Create an image with default properties and no metadata in a raw temporary file in the usual folder (TMPDIR).
  ///
  /// Capabilities are READ, WRITE and RESHAPE. The created file is automatically deleted when destroying the image.
  /// \param imageShape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \return The new image.
  /// \throws InvalidArgument if the type is not numeric.
  /// \throws Error if the file cannot be made.
  static std::shared_ptr<ImageView> createOnDisk(VectorXu64 const & imageShape, DataType dataType);

  /// Copy an image into a raw temporary file in the usual folder of temporary files (TMPDIR), chunk by chunk.
  ///
  /// Maximum chunk size is 1MB. An image that is on disk already is copied, too. Capabilities are READ, WRITE and
  /// RESHAPE. The created file is automatically deleted when destroying the image.
  /// Of an image in tiles, whole tiles of up to 32 MiB together are a chunk: the file has their rows far apart.
  /// \param image The image to copy, with its properties and its metadata.
  /// \return The copy.
  /// \throws InvalidArgument if the image is null, or its properties are not valid.
  /// \throws NotImplemented if the image cannot be read.
  /// \throws Error if the file cannot be made, or there is no room for it.
  static std::shared_ptr<ImageView> copyOnDisk(std::shared_ptr<ImageView> image);

  /// Copy an image into a raw temporary file in a folder, chunk by chunk.
  ///
  /// Maximum chunk size is 1MB. An image that is on disk already is copied, too. Capabilities are READ, WRITE and
  /// RESHAPE. The created file is automatically deleted when destroying the image.
  /// Of an image in tiles, whole tiles of up to 32 MiB together are a chunk: the file has their rows far apart.
  /// \param image The image to copy, with its properties and its metadata.
  /// \param folder The folder, which exists; "" for the usual folder of temporary files.
  /// \return The copy.
  /// \throws InvalidArgument if the image is null, its properties are not valid or the folder does not exist.
  /// \throws NotImplemented if the image cannot be read.
  /// \throws Error if the file cannot be made, or there is no room for it.
  static std::shared_ptr<ImageView> copyOnDisk(std::shared_ptr<ImageView> image, std::string const & folder);

#ifndef SWIG
  /// The same, telling how many bytes are copied. Whoever is told may cancel: nothing is left of the copy then.
  static std::shared_ptr<ImageView> copyInMemory(std::shared_ptr<ImageView> image, Progress const & progress);
  static std::shared_ptr<ImageView> copyOnDisk(std::shared_ptr<ImageView> image, std::string const & folder,
                                               Progress const & progress);
#endif

  /// Create an image whose samples are the first bytes of an accessor, without gaps.
  ///
  /// Nothing is read before it is asked for: of a region, its bytes and at most some that lie between them. What is
  /// written goes to the accessor. Capabilities are READ and WRITE as far as the accessor has them, and MEMORY_ACCESS
  /// when it offers its memory and both.
  /// \param access The accessor, which the image holds.
  /// \param memoryLayout C: the last dimension is the fastest. FORTRAN, UNKNOWN: the first one is.
  /// \param imageShape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \param properties The properties, of which the image keeps a copy; null for the default ones.
  /// \param metadata The root node of the metadata, of which the image keeps a copy; may be null.
  /// \return The new image.
  /// \throws InvalidArgument if the accessor is null or has too few bytes, or the properties do not fit.
  static std::shared_ptr<ImageView> fromRandomAccess(std::shared_ptr<RandomAccess> access, MemoryLayout memoryLayout,
                                                     VectorXu64 const & imageShape, DataType const dataType,
                                                     std::shared_ptr<ImageProperties> properties,
                                                     std::shared_ptr<MetadataNode const> const metadata);

  /// Create an image with default properties and no metadata whose samples are the first bytes of an accessor.
  ///
  /// \param access The accessor, which the image holds.
  /// \param memoryLayout C: the last dimension is the fastest. FORTRAN, UNKNOWN: the first one is.
  /// \param imageShape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \return The new image.
  /// \throws InvalidArgument if the accessor is null or has too few bytes.
  static std::shared_ptr<ImageView> fromRandomAccess(std::shared_ptr<RandomAccess> access, MemoryLayout memoryLayout,
                                                     VectorXu64 const & imageShape, DataType const dataType);

  /// Create an image whose samples are the first bytes of an accessor, the first dimension fastest.
  ///
  /// \param access The accessor, which the image holds.
  /// \param imageShape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \param properties The properties, of which the image keeps a copy; null for the default ones.
  /// \param metadata The root node of the metadata, of which the image keeps a copy; may be null.
  /// \return The new image.
  /// \throws InvalidArgument if the accessor is null or has too few bytes, or the properties do not fit.
  static std::shared_ptr<ImageView> fromRandomAccess(std::shared_ptr<RandomAccess> access,
                                                     VectorXu64 const & imageShape, DataType const dataType,
                                                     std::shared_ptr<ImageProperties> properties,
                                                     std::shared_ptr<MetadataNode const> metadata);

  /// Create an image with default properties whose samples are the first bytes of an accessor, first dimension fastest.
  ///
  /// \param access The accessor, which the image holds.
  /// \param imageShape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \return The new image.
  /// \throws InvalidArgument if the accessor is null or has too few bytes.
  static std::shared_ptr<ImageView> fromRandomAccess(std::shared_ptr<RandomAccess> access,
                                                     VectorXu64 const & imageShape, DataType const dataType);

  /// Create a view of an image with other properties and metadata.
  ///
  /// No memory is allocated for samples. Capabilities are those of the image.
  /// \param image      The image to show.
  /// \param properties The properties of the view, which keeps a copy; null for a clone of the input view properties.
  /// \param metadata   The root node of the view's metadata, of which it keeps a copy; may be null.
  /// \return The new view.
  /// \throws InvalidArgument if the image is null, or the properties do not fit it.
  static std::shared_ptr<ImageView> fromImageView(std::shared_ptr<ImageView> image,
                                                  std::shared_ptr<ImageProperties const> properties,
                                                  std::shared_ptr<MetadataNode const> metadata);

  /// Create a view whose values are a linear map of those of an image, in another type.
  ///
  /// The first value of the input range becomes the first of the output range, the second the second. Values are not
  /// clamped to the output range, but to what an integer type can hold; they are rounded to nearest, ties to even, and
  /// NaN becomes 0 in an integer. Capabilities are restricted to READ and WRITE; a view whose output range is one value
  /// cannot be written.
  /// \param image       The image to show, of values that can be converted.
  /// \param dataType    The type of the view, of as many components as the image's.
  /// \param inputRange  Two different finite values.
  /// \param outputRange Two finite values; they become the value range of the view.
  /// \return The new view.
  /// \throws InvalidArgument if the image is null or the types cannot be converted, or if a range is not finite, or the
  /// input range of zero width.
  static std::shared_ptr<ImageView> adaptDynamicRange(std::shared_ptr<ImageView> image, DataType dataType,
                                                      Vector2d const & inputRange, Vector2d const & outputRange);

  /// Create a view of an image with its values converted to another type.
  ///
  /// Values that an integer type cannot hold become the nearest it can; floating point values are rounded to nearest,
  /// ties to even, and NaN becomes 0. Capabilities are restricted to READ and WRITE.
  /// \param image    The image to show, of values that can be converted.
  /// \param dataType The type of the view, of as many components as the image's.
  /// \return The new view.
  /// \throws InvalidArgument if the image is null, or the types cannot be converted.
  static std::shared_ptr<ImageView> adaptDataType(std::shared_ptr<ImageView> image, DataType dataType);

  /// Create a view of one channel of an image.
  ///
  /// Channels are the components of vector samples, or the elements along the dimension CHANNEL, which the view does
  /// not have. An image of scalar samples without that dimension is its only channel.
  /// \param image   The image to show.
  /// \param channel Index of the channel.
  /// \return The new view.
  /// \throws InvalidArgument if the image is null, or has no such channel.
  static std::shared_ptr<ImageView> extractChannel(std::shared_ptr<ImageView> image, size_t channel);

  /// Create a view of a region of an image.
  ///
  /// The origin of the calibration moves with the region.
  /// \param image  The image to show.
  /// \param region The region, inside of the image; it may be empty.
  /// \return The new view, of the shape of the region.
  /// \throws InvalidArgument if the image is null, or the region leaves it.
  static std::shared_ptr<ImageView> extractRegion(std::shared_ptr<ImageView> image, RegionXu64 const & region);

  /// Create a view of a region of an image, packing flat dimensions.
  ///
  /// Dimensions of size 1 are left out, with their calibration: a region of size (5, 1, 7) gives an image of shape
  /// (5, 7). Of a region of one element the first dimension stays.
  /// \param image  The image to show.
  /// \param region The region, inside of the image; it may be empty.
  /// \return The new view.
  /// \throws InvalidArgument if the image is null, or the region leaves it.
  static std::shared_ptr<ImageView> extractAdjustedRegion(std::shared_ptr<ImageView> image, RegionXu64 const & region);

  /// Create a view of all frames of a set, one after the other along a dimension.
  ///
  /// The frames are those that the set has now; they have the same shape, type and axes. Capabilities are restricted to
  /// READ and WRITE.
  /// \param images    The frames, at least one.
  /// \param dimension The dimension to add, which the frames do not have.
  /// \return The new view.
  /// \throws InvalidArgument if the set is null or empty, if a frame does not fit the first one, or if the frames have
  /// the dimension already.
  static std::shared_ptr<ImageView> stack(std::shared_ptr<MultiImageView> images, ImageDimension dimension);

  /// Create a view of all frames of a set, along the first of SLICE, CHANNEL and SEQUENCE that they do not have.
  ///
  /// \param images The frames, at least one.
  /// \return The new view.
  /// \throws InvalidArgument if the set is null or empty, if a frame does not fit the first one, or if the frames have
  /// all three dimensions.
  static std::shared_ptr<ImageView> stack(std::shared_ptr<MultiImageView> images);

  /// Create a view of all frames of a set, which is transferred by several threads.
  ///
  /// Frames are transferred at the same time if they allow it.
  /// \param images      The frames, at least one.
  /// \param dimension   The dimension to add, which the frames do not have.
  /// \param threadCount The threads that a transfer may use, at least 1.
  /// \return The new view.
  /// \throws InvalidArgument if the set is null or empty, if a frame does not fit the first one, if the frames have the
  /// dimension already, or if there are to be no threads.
  static std::shared_ptr<ImageView> stack(std::shared_ptr<MultiImageView> images, ImageDimension dimension,
                                          size_t threadCount);

  /// Create a view whose samples are vectors of the channels of an image: the dimension CHANNEL becomes components.
  ///
  /// \param image An image of scalar samples with 1 to 255 channels.
  /// \return The new view, of one dimension less.
  /// \throws InvalidArgument if the image is null, is not scalar or has no dimension CHANNEL of such a size.
  static std::shared_ptr<ImageView> assembleChannels(std::shared_ptr<ImageView> image);

  /// Create a view whose channels are the components of the samples of an image, along a new dimension CHANNEL.
  ///
  /// \param image An image of vector samples without the dimension CHANNEL.
  /// \return The new view, of one dimension more.
  /// \throws InvalidArgument if the image is null, is not of vector samples, or has the dimension CHANNEL.
  static std::shared_ptr<ImageView> disassembleChannels(std::shared_ptr<ImageView> image);

  /// Create a view whose samples are those of all frames of a set, put together to vectors.
  ///
  /// The frames are those that the set has now; they have the same shape, axes and type of components. Capabilities are
  /// restricted to READ and WRITE.
  /// \param images         The frames, at least one, of at most 255 components together.
  /// \param interpretation The meaning of the components of the view.
  /// \param alpha          Whether the last component is an alpha channel.
  /// \return The new view.
  /// \throws InvalidArgument if the set is null or empty, if a frame does not fit the first one, or if the
  /// interpretation does not fit the number of components.
  static std::shared_ptr<ImageView> interlace(std::shared_ptr<MultiImageView> images,
                                              ImageInterpretation interpretation, bool alpha);

  /// Create a view whose samples are those of all frames of a set, put together to vectors.
  ///
  /// The interpretation is that of the first frame where it fits the number of components, else MULTISPECTRAL.
  /// \param images The frames, at least one, of at most 255 components together.
  /// \return The new view.
  /// \throws InvalidArgument if the set is null or empty, or if a frame does not fit the first one.
  static std::shared_ptr<ImageView> interlace(std::shared_ptr<MultiImageView> images);

  /// Create a view of an image whose dimensions have another meaning, in the same order.
  ///
  /// The calibration of each dimension stays with it.
  /// \param image The image to show.
  /// \param axes  As many dimensions as the image has, or none for an unknown meaning.
  /// \return The new view.
  /// \throws InvalidArgument if the image is null, or the number of dimensions differs.
  static std::shared_ptr<ImageView> reinterpret(std::shared_ptr<ImageView> image, ImageType axes);

  /// Create a view of an image whose dimensions have another meaning, told one by one.
  ///
  /// The dimensions of the view stand in canonical order: (COLUMN, SLICE, ROW) for an image of shape (2, 3, 4) gives
  /// the shape (2, 4, 3). The calibration of each dimension goes with it.
  /// \param image      The image to show.
  /// \param dimensions The meaning of each dimension of the image, each at most once.
  /// \return The new view.
  /// \throws InvalidArgument if the image is null, if the number of dimensions differs, or if one is twice or unknown.
  static std::shared_ptr<ImageView> reinterpretAxes(std::shared_ptr<ImageView> image, ImageDimension const * dimensions,
                                                    size_t count);

  /// Create a view of the elements 0, step, 2 step, ... of an image along each spatial dimension.
  ///
  /// The spacing grows with the step. Only READ is offered. A step of 1 will give the same Image as the original.
  /// \param image The image to show.
  /// \param step  The step along COLUMN, ROW and SLICE, at least 1.
  /// \return The new view; its sizes are quotients rounded up.
  /// \throws InvalidArgument if the image is null or the step is 0.
  static std::shared_ptr<ImageView> subSample(std::shared_ptr<ImageView> image, size_t step);

#ifndef SWIG
  /// Create a view of every nth element of an image along each dimension, n being another one for each.
  ///
  /// The contrary of subSample in one thing: it is in memory, and can be written, where the image is and can.
  /// \param image The image to show.
  /// \param steps The step along each dimension, at least 1.
  /// \throws InvalidArgument if the image is null, or the steps do not fit.
  static std::shared_ptr<ImageView> everyNth(std::shared_ptr<ImageView> image, VectorXu64 const & steps);
#endif

  /// Create a view of an image turned around along a dimension.
  ///
  /// The direction of the dimension turns, and the origin moves to what was the last element.
  /// \param image     The image to show.
  /// \param dimension One of its dimensions.
  /// \return The new view.
  /// \throws InvalidArgument if the image is null, or does not have the dimension.
  static std::shared_ptr<ImageView> flip(std::shared_ptr<ImageView> image, ImageDimension dimension);

  /// Create a view of an image turned around along a dimension.
  ///
  /// The direction of the dimension turns, and the origin moves to what was the last element.
  /// \param image          The image to show.
  /// \param dimensionIndex Index of the dimension, below the dimension count of the image.
  /// \return The new view.
  /// \throws InvalidArgument if the image is null, or has no such dimension.
  static std::shared_ptr<ImageView> flip(std::shared_ptr<ImageView> image, size_t dimensionIndex);

  /// Create a view of an image that can be used by several threads at the same time.
  ///
  /// One operation runs at a time. Capabilities are those of the image. Memory that is handed out is not protected.
  /// \param image The image, which is used through the view only from now on.
  /// \return The new view; the image itself if it needs no protection.
  /// \throws InvalidArgument if the image is null.
  static std::shared_ptr<ImageView> makeThreadSafe(std::shared_ptr<ImageView> image);

#ifndef SWIG
  /// Create an image of which all samples have the same value, which is kept once.
  ///
  /// The capability is READ.
  /// \param shape      the size along each dimension, the dimensions in canonical order
  /// \param dataType   the type of the samples, a numeric one
  /// \param value      dataType.byteCount() bytes, which are copied
  /// \param properties the properties, of which the image keeps a copy; null for the default ones
  /// \param metadata   the root node of the metadata, of which the image keeps a copy; may be null
  /// \throws InvalidArgument when the value is null or the properties do not fit
  static std::shared_ptr<ImageView> uniform(VectorXu64 const & shape, DataType dataType, void const * value,
                                            std::shared_ptr<ImageProperties> properties,
                                            std::shared_ptr<MetadataNode const> metadata);

  /// Create an image over memory of the caller, the first dimension fastest, without gaps.
  ///
  /// Capabilities are READ, WRITE and MEMORY_ACCESS. The memory has to stay valid as long as the image lives.
  /// \param shape      the size along each dimension, the dimensions in canonical order
  /// \param dataType   the type of the samples, a numeric one
  /// \param buffer     the first sample
  /// \param bufferSize the bytes of the memory, at least those of the samples
  /// \param properties the properties, of which the image keeps a copy; null for the default ones
  /// \param metadata   the root node of the metadata, of which the image keeps a copy; may be null
  /// \throws InvalidArgument when the memory is too small or the properties do not fit
  static std::shared_ptr<ImageView> fromBuffer(VectorXu64 const & shape, DataType dataType, void * buffer,
                                               size_t bufferSize, std::shared_ptr<ImageProperties> properties,
                                               std::shared_ptr<MetadataNode> metadata);
#endif
};

} // namespace zarnik
