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
using Images = std::vector<Image>;

/// An adapter, told by where it takes its samples from.
struct Adapter {
  std::string name;
  /// The sources for a view of that shape and type: their shape and type, and how many there are.
  struct Wanted {
    VectorXu64 shape;
    DataType type;
    size_t count = 1;
  };
  std::function<Wanted(VectorXu64 shape, DataType type)> wants;
  std::function<Image(Images const & sources, VectorXu64 const & shape)> adapt;
  /// Where a component of a sample of the view is: source, index and component there.
  struct Place {
    size_t source = 0;
    VectorXu64 index;
    size_t component = 0;
  };
  std::function<Place(VectorXu64 index, size_t component, VectorXu64 const & shape)> place;
  ImageCapabilitySet keeps = READ | WRITE | MEMORY_ACCESS;
};

Adapter::Wanted same(VectorXu64 shape, DataType type) { return {shape, type}; }
Adapter::Place itself(VectorXu64 index, size_t component, VectorXu64 const &) { return {0, index, component}; }

/// The axis along which a view of that rank, with the usual axes, is a stack.
size_t stackedAxis(size_t rank) { return rank == 5 ? 3 : rank - 1; }

auto setOf(Images const & images) { return MultiImageViewFactory::createFromList(images.data(), images.size()); }

// Every third sample along all axes of what is left without a margin of two, the last axis turned around.
Adapter const geometry{
    "Geometry",
    [](auto shape, auto type) {
      std::ranges::transform(shape, shape.begin(), [](auto n) { return 3 * n + 2; });
      return Adapter::Wanted{shape, type};
    },
    [](Images const & sources, VectorXu64 const & shape) {
      auto const rank = shape.size();
      auto const inside = Factory::extractRegion(sources[0], {VectorXu64::createUniform(rank, 2), shape * 3});
      auto const steps = Factory::everyNth(inside, VectorXu64::createUniform(rank, 3));
      return Factory::flip(steps, rank - 1);
    },
    [](auto index, auto component, VectorXu64 const & shape) {
      auto const last = index.size() - 1;
      index[last] = shape[last] - 1 - index[last];
      std::ranges::transform(index, index.begin(), [](auto n) { return 3 * n + 2; });
      return Adapter::Place{0, index, component};
    }};

Adapter const channel{"Channel",
                      [](auto shape, auto type) {
                        auto const count = std::max<size_t>(type.elementCount(), 3);
                        return Adapter::Wanted{shape, DataType(type.primitiveType(), type.bitDepth(), count)};
                      },
                      [](Images const & sources, VectorXu64 const & shape) {
                        auto const isColoured = shape.size() == 4; // the contract's image of vectors
                        return isColoured ? Factory::extractRegion(sources[0], whole(*sources[0]))
                                          : Factory::extractChannel(sources[0], 0);
                      },
                      itself};

Adapter const stack{"Stack",
                    [](auto shape, auto type) {
                      auto const axis = stackedAxis(shape.size());
                      return Adapter::Wanted{without(shape, axis), type, shape[axis]};
                    },
                    [](Images const & sources, VectorXu64 const & shape) {
                      ImageDimension const dimensions[] = {ImageDimension::COLUMN, ImageDimension::ROW,
                                                           ImageDimension::SLICE, ImageDimension::SEQUENCE,
                                                           ImageDimension::CHANNEL};
                      return Factory::stack(setOf(sources), dimensions[shape.size() - 1], 3);
                    },
                    [](auto index, auto component, VectorXu64 const &) {
                      auto const axis = stackedAxis(index.size());
                      return Adapter::Place{index[axis], without(index, axis), component};
                    },
                    READ | WRITE};

Adapter const interlaced{"Interlaced",
                         [](auto shape, auto type) {
                           return Adapter::Wanted{shape, DataType::extractScalarType(type), type.elementCount()};
                         },
                         [](Images const & sources, VectorXu64 const &) { return Factory::interlace(setOf(sources)); },
                         [](auto index, auto component, VectorXu64 const &) {
                           return Adapter::Place{component, index, 0};
                         },
                         READ | WRITE};

/// One that leaves the samples as they are.
template <typename Adapt>
Adapter relabelling(char const * name, Adapt adapt, ImageCapabilitySet keeps = READ | WRITE | MEMORY_ACCESS) {
  return {name, same, [adapt](Images const & sources, VectorXu64 const &) { return adapt(sources[0]); }, itself, keeps};
}

/// The implementation under test that an adapter over a kind of source is.
ImageViewImplementation implementation(Adapter const & adapter, SourceKind const & kind) {
  auto const make = [=](VectorXu64 const & shape, DataType type, Bytes const & samples) {
    auto const wanted = adapter.wants(shape, type);
    std::vector<Source> sources;
    Images views;
    for (size_t n = 0; n < wanted.count; ++n) {
      sources.push_back(kind.make(wanted.shape, wanted.type));
      views.push_back(sources.back().view);
    }
    auto const bytes = type.bitDepth() / 8;
    auto const visit = [=](auto move) {
      for (uint64_t n = 0; n < elementCount(shape) * type.elementCount(); ++n) {
        auto const place = adapter.place(indexOf(n / type.elementCount(), shape), n % type.elementCount(), shape);
        move(n * bytes, sources[place.source].element(place.index) + place.component * bytes);
      }
    };
    visit([&](size_t position, uint8_t * element) { std::copy_n(&samples[position], bytes, element); });
    auto const gather = [=] {
      Bytes all(elementCount(shape) * type.byteCount());
      visit([&](size_t position, uint8_t * element) { std::copy_n(element, bytes, &all[position]); });
      return all;
    };
    return ImageViewUnderTest{adapter.adapt(views, shape), gather};
  };
  auto capabilities = kind.capabilities & adapter.keeps;
  if (kind.name == "Memory" && (adapter.name == "Relabelled" || adapter.name == "ThreadSafe"))
    capabilities |= RESHAPE;
  return {adapter.name + "Over" + kind.name, capabilities, make};
}

std::vector<ImageViewImplementation> implementations() {
  Adapter const adapters[] = {
      geometry,
      channel,
      stack,
      interlaced,
      relabelling(
          "SubSampled", [](Image const & image) { return Factory::subSample(image, 1); }, READ),
      relabelling("Relabelled", [](Image const & image) { return Factory::fromImageView(image, nullptr, nullptr); }),
      relabelling("ThreadSafe", &Factory::makeThreadSafe)};
  std::vector<ImageViewImplementation> all;
  for (auto const & kind : sourceKinds()) {
    for (auto const & adapter : adapters)
      all.push_back(implementation(adapter, kind));
    if (kind.name.starts_with("Borrowed"))
      all.push_back(implementation(relabelling("Nothing", [](Image const & image) { return image; }), kind));
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Adapters, ImageViewContract, testing::ValuesIn(implementations()), nameOf);

} // namespace
} // namespace zarnik::test
