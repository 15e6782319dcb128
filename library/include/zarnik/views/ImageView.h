#pragma once

#include "zarnik/metadata/ImageInterpretation.h"
#include "zarnik/metadata/SpatialDirections.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/values/RegionX.h"
#include "zarnik/values/Vector.h"
#include "zarnik/values/VectorX.h"
#include "zarnik/views/ImageCapability.h"
#include "zarnik/views/View.h"

#include <cstddef>
#include <memory>
#include <string>

namespace zarnik {

#ifndef SWIG
class ImageProperties;
class Indexer;
class MetadataNode;
class ParallelAccessExtension;
class TilingInfoExtension;
#endif

/// An n-dimensional image: samples of one data type on a grid, with properties and metadata.
///
/// Dimensions are in canonical order (COLUMN, ROW, SLICE, CHANNEL, SEQUENCE), those present only.
/// An operation that an image does not have the capability for raises NotImplemented and changes nothing.
/// Queries and reads may run on several threads at once when parallelAccess() says so.
class ZARNIK_API ImageView : public View {
public:
#ifndef SWIG
  /// The highest number of dimensions of an image, which is above that of the arrays that it can be shown as.
  static constexpr size_t MAXIMUM_DIMENSION_COUNT = 128;
#endif

  /// Destroy the image view.
  ~ImageView() override;

  /// Returns the dimension of the View.
  /// \return The number of dimensions, which is the length of the shape.
  size_t dimensionCount() ZARNIK_QUERY;

  /// Checks if the ImageView supports the given capabilities.
  /// \param capabilities The capabilities, all of which are needed.
  /// \return True when none of them is missing.
  bool support(ImageCapabilitySet capabilities) ZARNIK_QUERY;

  /// Return the capabilities of this image.
  /// \return What the image can do, one flag each.
  virtual ImageCapabilitySet capabilities() const = 0;

  /// Return the shape of the image, each component containing the size in this dimension.
  /// \return The sizes, the dimensions in canonical order: columns come first.
  virtual VectorXu64 const & shape() ZARNIK_QUERY = 0;

  /// Return the data type of the samples of this image.
  /// \return The type of one element, which may have several components.
  virtual DataType dataType() ZARNIK_QUERY = 0;

#ifndef SWIG
  /// Return the view's properties. They are never null and fit the shape and the data type.
  virtual std::shared_ptr<ImageProperties const> properties() const = 0;
#endif

  /// Return a string representation
  /// \return Shape, data type, axes and capabilities, and how the image was made from others, in one line.
  std::string toString() const;

#ifndef SWIG
  /// Return the root node of the metadata attached to this image, null when there is none.
  virtual std::shared_ptr<MetadataNode const> metadata() const = 0;
#endif

  /// Shortcut to access Image interpretation from image properties
  /// \return One of the ImageInterpretation constants.
  ImageInterpretation imageInterpretation() ZARNIK_QUERY;

  /// Shortcut to access axes interpretation from image properties
  /// \return The meaning of each dimension in canonical order; no dimensions if it is not known.
  ImageType axesInterpretation() ZARNIK_QUERY;

  /// Shortcut to access spatial origin from image properties
  /// \return The position of the first element, in spatial units.
  Vector3d spatialOrigin() ZARNIK_QUERY;

  /// Shortcut to access spatial spacing from image properties
  /// \return The distance of neighbours along column, row and slice, in spatial units.
  Vector3d spatialSpacing() ZARNIK_QUERY;

  /// Shortcut to access the spatial unit from image properties
  /// \return The unit of origin and spacing, such as "mm"; empty if it is not known.
  std::string spatialUnit() ZARNIK_QUERY;

  /// Shortcut to access spatial directions from image properties
  /// \return The directions of column, row and slice in space.
  SpatialDirections spatialDirections() ZARNIK_QUERY;

  /// Shortcut to access the sample bitdepth from image properties
  /// \return The bits of a sample component that are used, at most those of the data type.
  size_t bitDepth() ZARNIK_QUERY;

  /// Shortcut to access hasAlpha status from image properties
  /// \return True if the last component of a sample is its opacity.
  bool hasAlpha() ZARNIK_QUERY;

  /// Shortcut to access the sample value range from image properties
  /// \return The least and the greatest value.
  Vector2d valueRange() ZARNIK_QUERY;

#ifndef SWIG
  /// Read the data at the given index into a buffer.
  /// Needs the capability READ. Unless an image knows better, it is a region of one element that is read.
  /// \param index       position of the element, one component a dimension
  /// \param destination receives dataType().byteCount() bytes
  /// \throws InvalidArgument if the index is outside of the image
  /// \throws NotImplemented If the implementation does not support reading.
  virtual void read(VectorXu64 const & index, void * destination);

  /// Read a region of the image into a dense buffer, the first dimension fastest.
  /// Needs the capability READ.
  /// \param region      the region, inside of the image; an empty one reads nothing
  /// \param destination receives region.elementCount() * dataType().byteCount() bytes
  /// \throws InvalidArgument if the region leaves the image
  /// \throws NotImplemented If the implementation does not support reading.
  virtual void readRegion(RegionXu64 const & region, void * destination);
#endif

  /// Update the image's properties.
  ///
  /// Needs the capability WRITE. The image keeps a copy.
  /// \param properties The properties, which fit the shape and the data type; interpretation, alpha and the number of
  /// channels, which are set one after the other, need not agree.
  /// \throws Error if the properties do not fit.
  /// \throws NotImplemented If the implementation does not support writing.
  virtual void setProperties(std::shared_ptr<ImageProperties const> properties);

  /// Attach a new metadata node to the image.
  ///
  /// Needs the capability WRITE. The image keeps a copy of the whole tree.
  /// \param metadata The root node, null for no metadata.
  /// \throws NotImplemented If the implementation does not support writing.
#ifdef SWIG // Python has no const: readers of its messages know one kind of node
  virtual void setMetadata(std::shared_ptr<MetadataNode> metadata);
#else
  virtual void setMetadata(std::shared_ptr<MetadataNode const> metadata);
#endif

  /// Shortcut to set Image interpretation into image properties
  /// \param interpretation The meaning of the components of a sample.
  /// \throws Error if it does not fit the image.
  /// \throws NotImplemented If the implementation does not support writing.
  void setImageInterpretation(ImageInterpretation interpretation);

  /// Shortcut to set axes interpretation into image properties
  /// \param axesInterpretation The meaning of the dimensions, as many as the image has.
  /// \throws Error if it does not fit the image.
  /// \throws NotImplemented If the implementation does not support writing.
  void setAxesInterpretation(ImageType axesInterpretation);

  /// Shortcut to set spatial origin into image properties
  /// \param origin Position of the first element, in spatial units.
  /// \throws NotImplemented If the implementation does not support writing.
  void setSpatialOrigin(Vector3d const & origin);

  /// Shortcut to set spatial spacing into image properties
  /// \param spacing Distance of neighbours along column, row and slice, in spatial units, finite and not 0.
  /// \throws Error if the spacing is not allowed.
  /// \throws NotImplemented If the implementation does not support writing.
  void setSpatialSpacing(Vector3d const & spacing);

  /// Shortcut to set the spatial unit into image properties
  /// \param unit The unit of origin and spacing, such as "mm".
  /// \throws NotImplemented If the implementation does not support writing.
  void setSpatialUnit(std::string const & unit);

  /// Shortcut to set spatial direcitons into image properties
  /// \param directions The directions of column, row and slice in space.
  /// \throws NotImplemented If the implementation does not support writing.
  void setSpatialDirections(SpatialDirections const & directions);

  /// Shortcut to set the sample bitdepth into image properties
  /// \param bitDepth The bits of a sample component that are used, at most those of the data type.
  /// \throws Error if it does not fit the image.
  /// \throws NotImplemented If the implementation does not support writing.
  void setBitDepth(size_t bitDepth);

  /// Shortcut to indicate the presence of an alpha channel into image properties
  /// \param alpha Whether the last component of a sample is its opacity.
  /// \throws Error if it does not fit the image.
  /// \throws NotImplemented If the implementation does not support writing.
  void setAlpha(bool alpha);

  /// Shortcut to set the sample value range into image properties
  /// \param range The least and the greatest value.
  /// \throws Error if it does not fit the image.
  /// \throws NotImplemented If the implementation does not support writing.
  void setValueRange(Vector2d const & range);

#ifndef SWIG
  /// Write value from a buffer at the given index.
  /// Needs the capability WRITE.
  /// \param index  position of the element, one component a dimension
  /// \param source dataType().byteCount() bytes
  /// \throws InvalidArgument if the index is outside of the image
  /// \throws NotImplemented If the implementation does not support writing.
  virtual void write(VectorXu64 const & index, void const * source);

  /// Write a input buffer into a given region of the image
  /// Needs the capability WRITE.
  /// \param region the region, inside of the image; an empty one writes nothing
  /// \param source region.elementCount() * dataType().byteCount() bytes, the first dimension fastest
  /// \throws InvalidArgument if the region leaves the image
  /// \throws NotImplemented If the implementation does not support writing.
  virtual void writeRegion(RegionXu64 const & region, void const * source);
#endif

  /// Change the shape and sample data type of the image.
  ///
  /// All the image's data is invalidated after this operation.
  /// Needs the capability RESHAPE. The properties are kept when they fit, else the calibration is kept and
  /// the rest is as for a new image.
  /// \param shape The new size along each dimension.
  /// \param dataType The new type of the samples.
  /// \throws Error if the data cannot be stored; the image is then unchanged.
  /// \throws NotImplemented If the implementation does not support reshaping.
  virtual void reshape(VectorXu64 const & shape, DataType dataType);

#ifndef SWIG
  /// Return where in buffer() each element is.
  /// \throws NotImplemented if the samples do not lie in memory
  virtual Indexer const & indexer() const;

  /// Return the memory of the samples; needs the capability MEMORY_ACCESS.
  /// \throws NotImplemented if the samples do not lie in memory or may not be changed
  virtual void * buffer();

  /// Return the memory of the samples for reading. A read-only image over memory offers this form only.
  /// \throws NotImplemented if the samples do not lie in memory
  virtual void const * buffer() const;

  /// Return the bytes of all samples: element count times byte count of the data type.
  /// \throws NotImplemented if the samples do not lie in memory
  virtual size_t bufferSize() const;
#endif

  /// Shortcut to retrieve TilingInfo extension.
  /// \return The extension, null when the image has no tiles.
  std::shared_ptr<TilingInfoExtension> tilingInfo() ZARNIK_QUERY;

  /// Shortcut to retrieve ParallelAccess extension
  /// \return The extension, null when the image does not offer it.
  std::shared_ptr<ParallelAccessExtension> parallelAccess() ZARNIK_QUERY;

protected:
  ImageView() = default;
};

#ifndef SWIG
/// The properties of a view, also of one of somebody else's that fails to tell them.
/// \return The properties, never null.
/// \throws Error if the view tells none
ZARNIK_API std::shared_ptr<ImageProperties const> toldProperties(ImageView const & image);
#endif

} // namespace zarnik
