#pragma once

#include "module/Reference.h"
#include "zarnik/metadata/ImageInterpretation.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/values/VectorX.h"
#include "zarnik/views/ImageView.h"

#include <memory>
#include <span>

namespace zarnik {

/// An image view whose pixels are those of a NumPy array, of any strides, without a copy.
///
/// Holds one reference to the array; the last release needs the interpreter lock. Element and region transfers touch
/// raw memory only and may run on any thread.
class NumpyImageView final : public ImageView {
public:
  /// \param array a NumPy array
  /// \param dimensions dimensions[i] is the image dimension along the array's axis i
  /// \throws Error when the dimensions do not fit the array, or its element type has no counterpart
  NumpyImageView(PyObject * array, ImageDimension const * dimensions, size_t dimensionCount,
                 ImageInterpretation interpretation, bool hasAlpha);

  /// Takes the array's axes as those of SEQUENCE, SLICE, ROW, COLUMN, CHANNEL that the image type has, in this order.
  NumpyImageView(PyObject * array, ImageType axesInterpretation, ImageInterpretation interpretation, bool hasAlpha);

  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override;
  DataType dataType() const override;
  std::shared_ptr<ImageProperties const> properties() const override;
  std::shared_ptr<MetadataNode const> metadata() const override;
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;
  void setProperties(std::shared_ptr<ImageProperties const> properties) override;
  void setMetadata(std::shared_ptr<MetadataNode const> metadata) override;
  void write(VectorXu64 const & index, void const * source) override;
  void writeRegion(RegionXu64 const & region, void const * source) override;
  Indexer const & indexer() const override;
  void * buffer() override;
  void const * buffer() const override;
  size_t bufferSize() const override;

private:
  void setUp(std::span<ImageDimension const> dimensions, ImageInterpretation interpretation, bool hasAlpha);

  python::Reference array_;
  VectorXu64 shape_;
  DataType dataType_;
  std::shared_ptr<ImageProperties> properties_;
  std::shared_ptr<MetadataNode> metadata_;
  Indexer indexer_;
};

} // namespace zarnik
