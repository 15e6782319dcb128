#include "adapters/AdapterSources.h"
#include "views/ImageViewContract.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/MultiImageViewFactory.h"

#include <algorithm>

// Every class of adapters over every kind of source keeps the contract of image views.

namespace zarnik::test {
namespace {

using enum ImageCapability;
using Factory = ImageViewFactory;

/// An adapter, or several in a row, that in the end leave each sample where it is; what they move is tried in chains.
struct Adapter {
  std::string name;
  std::function<Image(Image const &)> adapt;
  ImageCapabilitySet keeps = READ | WRITE | MEMORY_ACCESS;
};

auto setOf(std::vector<Image> const & images) {
  return MultiImageViewFactory::createFromList(images.data(), images.size());
}

Image turnedTwice(Image const & image) { return Factory::flip(Factory::flip(image, 0), 0); }

Image onlyChannel(Image const & image) {
  bool const hasOne =
      image->dataType().elementCount() == 1 && !image->axesInterpretation().has(ImageDimension::CHANNEL);
  return hasOne ? Factory::extractChannel(image, 0) : turnedTwice(image);
}

Image interlacedChannels(Image const & image) {
  std::vector<Image> channels;
  for (size_t n = 0; n < image->dataType().elementCount(); ++n)
    channels.push_back(image->dataType().elementCount() == 1 ? image : Factory::extractChannel(image, n));
  return Factory::interlace(setOf(channels));
}

Image onlyFrame(Image const & image) {
  auto const axes = image->axesInterpretation();
  for (auto const dimension : {ImageDimension::SEQUENCE, ImageDimension::CHANNEL})
    if (!axes.has(dimension)) {
      auto const stack = Factory::stack(setOf({image}), dimension, 3);
      return Factory::extractAdjustedRegion(stack, whole(*stack));
    }
  return interlacedChannels(image);
}

/// The implementation under test that an adapter over a kind of source is.
ImageViewImplementation implementation(Adapter const & adapter, SourceKind const & kind) {
  auto const make = [=](VectorXu64 const & shape, DataType type, Bytes const & samples) {
    auto const source = kind.make(shape, type);
    auto const bytes = type.byteCount();
    forEach(RegionXu64::createFullRegion(shape), [&](VectorXu64 const & index, uint64_t position) {
      std::copy_n(&samples[position * bytes], bytes, source.element(index));
    });
    auto const gather = [=] {
      Bytes all(elementCount(shape) * bytes);
      forEach(RegionXu64::createFullRegion(shape), [&](VectorXu64 const & index, uint64_t position) {
        std::copy_n(source.element(index), bytes, &all[position * bytes]);
      });
      return all;
    };
    return ImageViewUnderTest{adapter.adapt(source.view), gather};
  };
  auto capabilities = kind.capabilities & adapter.keeps;
  if (kind.name == "Memory" && (adapter.name == "Relabelled" || adapter.name == "ThreadSafe"))
    capabilities |= RESHAPE;
  return {adapter.name + "Over" + kind.name, capabilities, make};
}

std::vector<ImageViewImplementation> implementations() {
  Adapter const adapters[] = {
      {"Geometry", turnedTwice},
      {"Channel", onlyChannel},
      {"Stack", onlyFrame, READ | WRITE},
      {"Interlaced", interlacedChannels, READ | WRITE},
      {"SubSampled", [](Image const & image) { return Factory::subSample(image, 1); }, READ},
      {"Relabelled", [](Image const & image) { return Factory::fromImageView(image, nullptr, nullptr); }},
      {"ThreadSafe", &Factory::makeThreadSafe}};
  std::vector<ImageViewImplementation> all;
  for (auto const & kind : sourceKinds()) {
    for (auto const & adapter : adapters)
      all.push_back(implementation(adapter, kind));
    if (kind.name.starts_with("Borrowed"))
      all.push_back(implementation({"Nothing", [](Image const & image) { return image; }}, kind));
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Adapters, ImageViewContract, testing::ValuesIn(implementations()), nameOf);

} // namespace
} // namespace zarnik::test
