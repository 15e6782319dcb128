#include "adapters/AdapterSources.h"
#include "views/ImageViewContract.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/MultiImageViewFactory.h"

// Every adapter over every kind of source keeps the contract of image views.

namespace zarnik::test {
namespace {

using enum ImageCapability;
using Factory = ImageViewFactory;
using Image = std::shared_ptr<ImageView>;

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
  std::function<Image(std::vector<Image> const & sources, VectorXu64 const & shape, DataType type)> adapt;
  /// Where a component of a sample of the view is: source, index and component there.
  struct Place {
    size_t source = 0;
    VectorXu64 index;
    size_t component = 0;
  };
  std::function<Place(VectorXu64 index, size_t component, VectorXu64 const & shape)> place;
  ImageCapabilitySet keeps = READ | WRITE | MEMORY_ACCESS;
};

DataType vectorOf(DataType type, size_t count) { return {type.primitiveType(), type.bitDepth(), count}; }

VectorXu64 map(VectorXu64 vector, auto function) {
  std::transform(vector.begin(), vector.end(), vector.begin(), function);
  return vector;
}

VectorXu64 without(VectorXu64 const & vector, size_t axis) {
  VectorXu64 result(vector.size() - 1);
  for (size_t n = 0; n < result.size(); ++n)
    result[n] = vector[n + (n >= axis)];
  return result;
}

VectorXu64 with(VectorXu64 const & vector, size_t axis, uint64_t value) {
  VectorXu64 result(vector.size() + 1);
  for (size_t n = 0; n < result.size(); ++n)
    result[n] = n == axis ? value : vector[n - (n > axis)];
  return result;
}

Adapter::Wanted same(VectorXu64 shape, DataType type) { return {shape, type}; }
Adapter::Place itself(VectorXu64 index, size_t component, VectorXu64 const &) { return {0, index, component}; }

/// The axis along which a view of that rank, with the usual axes, is a stack.
size_t stackedAxis(size_t rank) { return rank == 5 ? 3 : rank - 1; }

std::vector<Adapter> adapters() {
  using Shape = VectorXu64 const &;
  using Sources = std::vector<Image> const &;
  return {
      {"Region",
       [](auto shape, auto type) {
         return Adapter::Wanted{map(shape, [](auto n) { return n + 3; }), type};
       },
       [](Sources sources, Shape shape, DataType) {
         return Factory::extractRegion(sources[0], {VectorXu64::createUniform(shape.size(), 2), shape});
       },
       [](auto index, auto component, Shape) {
         return Adapter::Place{0, map(index, [](auto n) { return n + 2; }), component};
       }},
      {"AdjustedRegion",
       [](auto shape, auto type) {
         return Adapter::Wanted{shape.size() < 5 ? with(shape, 1, 4) : shape, type};
       },
       [](Sources sources, Shape shape, DataType) {
         if (shape.size() == 5)
           return Factory::extractAdjustedRegion(sources[0], RegionXu64::createFullRegion(shape));
         return Factory::extractAdjustedRegion(sources[0], {with(VectorXu64(shape.size()), 1, 3), with(shape, 1, 1)});
       },
       [](auto index, auto component, Shape) {
         return Adapter::Place{0, index.size() < 5 ? with(index, 1, 3) : index, component};
       }},
      {"Flip", same, [](Sources sources, Shape shape, DataType) { return Factory::flip(sources[0], shape.size() - 1); },
       [](auto index, auto component, Shape shape) {
         index[index.size() - 1] = shape[index.size() - 1] - 1 - index[index.size() - 1];
         return Adapter::Place{0, index, component};
       }},
      {"EveryNth",
       [](auto shape, auto type) {
         return Adapter::Wanted{map(shape, [](auto n) { return 3 * n - 1; }), type};
       },
       [](Sources sources, Shape shape, DataType) {
         return Factory::everyNth(sources[0], VectorXu64::createUniform(shape.size(), 3));
       },
       [](auto index, auto component, Shape) {
         return Adapter::Place{0, map(index, [](auto n) { return 3 * n; }), component};
       }},
      {"Transposed",
       [](auto shape, auto type) {
         if (shape.size() > 1)
           std::swap(shape[0], shape[1]);
         return Adapter::Wanted{shape, type};
       },
       [](Sources sources, Shape shape, DataType) {
         auto const axes = sources[0]->axesInterpretation();
         std::vector<ImageDimension> dimensions;
         for (size_t axis = 0; axis < shape.size(); ++axis)
           dimensions.push_back(axes.dimension(axis < 2 && shape.size() > 1 ? 1 - axis : axis));
         return Factory::reinterpretAxes(sources[0], dimensions.data(), dimensions.size());
       },
       [](auto index, auto component, Shape) {
         if (index.size() > 1)
           std::swap(index[0], index[1]);
         return Adapter::Place{0, index, component};
       }},
      {"Channel",
       [](auto shape, auto type) {
         return type.isScalar() ? Adapter::Wanted{shape, vectorOf(type, 3)} : Adapter::Wanted{shape, type};
       },
       [](Sources sources, Shape shape, DataType type) {
         return type.isScalar() ? Factory::extractChannel(sources[0], 1)
                                : Factory::extractRegion(sources[0], RegionXu64::createFullRegion(shape));
       },
       [](auto index, auto component, Shape) {
         return Adapter::Place{0, index, component};
       }},
      {"Assembled",
       [](auto shape, auto type) {
         return type.isScalar()
                    ? Adapter::Wanted{shape, type}
                    : Adapter::Wanted{with(shape, 3, type.elementCount()), DataType::extractScalarType(type)};
       },
       [](Sources sources, Shape, DataType type) {
         return type.isScalar() ? Factory::adaptDataType(sources[0], type) : Factory::assembleChannels(sources[0]);
       },
       itself, READ | WRITE},
      {"Disassembled",
       [](auto shape, auto type) {
         return shape.size() == 5 ? Adapter::Wanted{without(shape, 3), vectorOf(type, shape[3])}
                                  : Adapter::Wanted{shape, type};
       },
       [](Sources sources, Shape shape, DataType) {
         return shape.size() == 5 ? Factory::disassembleChannels(sources[0])
                                  : Factory::extractRegion(sources[0], RegionXu64::createFullRegion(shape));
       },
       [](auto index, auto component, Shape) {
         return index.size() == 5 ? Adapter::Place{0, without(index, 3), index[3]}
                                  : Adapter::Place{0, index, component};
       }},
      {"Reinterpreted", same,
       [](Sources sources, Shape, DataType) {
         return Factory::reinterpret(sources[0], sources[0]->axesInterpretation());
       },
       itself},
      {"Relabelled", same,
       [](Sources sources, Shape, DataType) { return Factory::fromImageView(sources[0], nullptr, nullptr); }, itself},
      {"ThreadSafe", same, [](Sources sources, Shape, DataType) { return Factory::makeThreadSafe(sources[0]); },
       itself},
      {"SubSampled",
       [](auto shape, auto type) {
         for (size_t axis = 0; axis < std::min<size_t>(shape.size(), 3); ++axis)
           shape[axis] = shape[axis] * 2 - axis % 2;
         return Adapter::Wanted{shape, type};
       },
       [](Sources sources, Shape, DataType) { return Factory::subSample(sources[0], 2); },
       [](auto index, auto component, Shape) {
         for (size_t axis = 0; axis < std::min<size_t>(index.size(), 3); ++axis)
           index[axis] *= 2;
         return Adapter::Place{0, index, component};
       },
       READ},
      {"Stack",
       [](auto shape, auto type) {
         auto const axis = stackedAxis(shape.size());
         return Adapter::Wanted{without(shape, axis), type, shape[axis]};
       },
       [](Sources sources, Shape shape, DataType) {
         auto const images = MultiImageViewFactory::createFromList(sources.data(), sources.size());
         ImageDimension const dimensions[] = {ImageDimension::COLUMN, ImageDimension::ROW, ImageDimension::SLICE,
                                              ImageDimension::SEQUENCE, ImageDimension::CHANNEL};
         return Factory::stack(images, dimensions[shape.size() - 1], 3);
       },
       [](auto index, auto component, Shape) {
         auto const axis = stackedAxis(index.size());
         return Adapter::Place{index[axis], without(index, axis), component};
       },
       READ | WRITE},
      {"Interlaced",
       [](auto shape, auto type) {
         return Adapter::Wanted{shape, DataType::extractScalarType(type), type.elementCount()};
       },
       [](Sources sources, Shape, DataType) {
         return Factory::interlace(MultiImageViewFactory::createFromList(sources.data(), sources.size()));
       },
       [](auto index, auto component, Shape) {
         return Adapter::Place{component, index, 0};
       },
       READ | WRITE},
  };
}

/// The implementation under test that an adapter over a kind of source is.
ImageViewImplementation implementation(Adapter const & adapter, SourceKind const & kind) {
  auto const make = [=](VectorXu64 const & shape, DataType type, std::vector<uint8_t> const & samples) {
    auto const wanted = adapter.wants(shape, type);
    std::vector<Source> sources;
    std::vector<Image> views;
    for (size_t n = 0; n < wanted.count; ++n) {
      sources.push_back(kind.make(wanted.shape, wanted.type));
      views.push_back(sources.back().view);
    }
    auto const componentBytes = type.bitDepth() / 8;
    bool const isChannel = adapter.name == "Channel" && type.isScalar();
    auto const visit = [=](auto move) {
      for (uint64_t n = 0; n < elementCount(shape) * type.elementCount(); ++n) {
        auto place = adapter.place(indexOf(n / type.elementCount(), shape), n % type.elementCount(), shape);
        if (isChannel)
          place.component = 1;
        if (adapter.name == "Assembled" && !type.isScalar())
          place = {0, with(place.index, 3, place.component), 0};
        move(n * componentBytes, sources[place.source].element(place.index) + place.component * componentBytes);
      }
    };
    visit([&](size_t position, uint8_t * element) { std::copy_n(&samples[position], componentBytes, element); });
    auto const gather = [=] {
      std::vector<uint8_t> all(elementCount(shape) * type.byteCount());
      visit([&](size_t position, uint8_t * element) { std::copy_n(element, componentBytes, &all[position]); });
      return all;
    };
    return ImageViewUnderTest{adapter.adapt(views, shape, type), gather};
  };
  auto capabilities = kind.capabilities & adapter.keeps;
  if (kind.name == "Memory" && (adapter.name == "Relabelled" || adapter.name == "ThreadSafe"))
    capabilities |= RESHAPE;
  return {adapter.name + "Over" + kind.name, capabilities, make};
}

std::vector<ImageViewImplementation> implementations() {
  std::vector<ImageViewImplementation> all;
  for (auto const & adapter : adapters())
    for (auto const & kind : sourceKinds())
      all.push_back(implementation(adapter, kind));
  for (auto const & kind : sourceKinds())
    if (kind.name.starts_with("Borrowed"))
      all.push_back({kind.name, kind.capabilities,
                     [kind](VectorXu64 const & shape, DataType type, std::vector<uint8_t> const & samples) {
                       auto const source = kind.make(shape, type);
                       auto const bytes = type.byteCount();
                       auto const gather = [=] {
                         std::vector<uint8_t> gathered(elementCount(shape) * bytes);
                         for (uint64_t n = 0; n < elementCount(shape); ++n)
                           std::copy_n(source.element(indexOf(n, shape)), bytes, &gathered[n * bytes]);
                         return gathered;
                       };
                       for (uint64_t n = 0; n < elementCount(shape); ++n)
                         std::copy_n(&samples[n * bytes], bytes, source.element(indexOf(n, shape)));
                       return ImageViewUnderTest{source.view, gather};
                     }});
  return all;
}

INSTANTIATE_TEST_SUITE_P(Adapters, ImageViewContract, testing::ValuesIn(implementations()), implementationName);

} // namespace
} // namespace zarnik::test
