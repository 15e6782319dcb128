// An image of one's own, whose samples are computed when they are asked for, used like any other.
#include "zarnik/core/Error.h"
#include "zarnik/core/Versioning.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewProvider.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

/// A picture whose samples are the sums of their indices.
class Ramp : public zarnik::ImageView {
public:
  explicit Ramp(zarnik::VectorXu64 const & shape) : shape_(shape) {
    properties_->imageInfo().setAxesInterpretation(zarnik::ImageTypeId::IMAGE);
  }
  zarnik::ImageCapabilitySet capabilities() const override { return zarnik::ImageCapability::READ; }
  zarnik::VectorXu64 const & shape() const override { return shape_; }
  zarnik::DataType dataType() const override { return zarnik::DataTypeId::UINT16; }
  std::shared_ptr<zarnik::ImageProperties const> properties() const override { return properties_; }
  std::shared_ptr<zarnik::MetadataNode const> metadata() const override { return nullptr; }

  void readRegion(zarnik::RegionXu64 const & region, void * destination) override {
    if (!zarnik::RegionXu64::createFullRegion(shape_).contains(region))
      throw zarnik::InvalidArgument(region.toString() + " leaves the picture");
    auto * sample = static_cast<uint16_t *>(destination);
    for (uint64_t row = 0; row < region.size()[1]; ++row)
      for (uint64_t column = 0; column < region.size()[0]; ++column)
        *sample++ = static_cast<uint16_t>(region.origin()[0] + column + region.origin()[1] + row);
  }

private:
  zarnik::VectorXu64 shape_;
  std::shared_ptr<zarnik::ImageProperties> properties_ = zarnik::ImageProperties::fromDataType(dataType());
};

} // namespace

int main() {
  std::printf("libzarnik %s\n", zarnik::Versioning::versionString().c_str());
  auto const image = zarnik::ImageViewProvider::toReadOnly(std::make_shared<Ramp>(zarnik::VectorXu64{40, 30}));
  std::vector<uint16_t> samples(6);
  image->readRegion(zarnik::RegionXu64({10, 20}, {3, 2}), samples.data());
  uint16_t last = 0;
  image->read({39, 29}, &last);
  std::printf("%s\n%d %d\n", image->toString().c_str(), samples[5], last);
  return samples == std::vector<uint16_t>{30, 31, 32, 31, 32, 33} && last == 68 ? 0 : 1;
}
